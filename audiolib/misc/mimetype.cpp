#include <strings.h>

#include <array>
#include <cstdio>
#include <string>

#include "misc/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/handles.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

using support::Guarded;
using varn::File;

constexpr char kUnknown[] = "application/octet-stream";

using Word = std::array<char, 4096>;

// Reads a word, of which what does not fit is passed over. False at the end of the list.
bool ReadWord(std::FILE *list, Word &word) {
    return std::fscanf(list, "%4095s%*[^ \t\n\v\f\r]", word.data()) == 1;
}

// The type of the last pair of the list whose extension is this one; "" without such a pair.
std::string TypeIn(std::FILE *list, const char *extension) {
    Word name = {};
    Word type = {};
    std::string found;
    while (ReadWord(list, name) && ReadWord(list, type)) {
        if (strcasecmp(name.data(), extension) == 0) {
            found = type.data();
        }
    }
    return found;
}

std::string TypeOf(const char *extension) {
    const std::string path = SystemPath(varn::path::kMimeTypes);
    const File list(std::fopen(path.c_str(), "re"));
    if (!list) {
        LOG_ERROR(kSource, "Could not open the mimetype file %s", path.c_str());
        return "";
    }
    return TypeIn(list.get(), extension);
}

}  // namespace

}  // namespace Tonvale::misc

int VARNAudioGetMimetype(const char *extension, char *destination,
                         size_t destinationSize) noexcept {
    using namespace Tonvale::misc;
    if (destination == nullptr || destinationSize == 0) {
        return 0;
    }
    const std::string type = Guarded(kSource, std::string(),
                                     [&] { return TypeOf(extension != nullptr ? extension : ""); });
    std::snprintf(destination, destinationSize, "%s", type.empty() ? kUnknown : type.c_str());
    return 0;
}
