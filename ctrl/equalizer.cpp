#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "ctrl/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"
#include "varn/base.h"
#include "varn/handles.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace Tonvale::ctrl {

namespace {

constexpr char kEnabledKey[] = "audio_enable_equalizer";
constexpr char kSelectedKey[] = "audio_default_equalizer";
constexpr std::size_t kSelectedSize = 1024;
constexpr std::size_t kLineSize = 1024;

// What a look for a profile ends with.
enum Search { kError = -1, kAbsent = 0, kFound = 1 };

// Writes a profile's values: cut to the size first and trimmed then.
Search HandOut(char *values, char *out, int size) {
    values[strnlen(values, static_cast<std::size_t>(size) - 1)] = '\0';
    if (VLIBCStrTrimSpace(values) == nullptr) {
        LOG_ERROR(kCtrl, "Failed to trim [%s].", values);
        return kError;
    }
    std::strcpy(out, values);
    return kFound;
}

// Looks for a profile in one file. A line's name counts as the wanted one when that begins with it:
// profiles of users are named after the one they were made from.
Search SearchFile(const std::string &path, std::string_view wanted, char *out, int size) {
    const varn::File file(std::fopen(path.c_str(), "re"));
    if (!file) {
        return kError;
    }
    std::array<char, kLineSize> line;
    while (std::fgets(line.data(), line.size(), file.get()) != nullptr) {
        char *colon = std::strrchr(line.data(), ':');
        if (colon == nullptr) {
            line[std::strcspn(line.data(), "\n")] = '\0';
            LOG_ERROR(kCtrl, "The EQ profile [%s] is illegal.", line.data());
            return kError;
        }
        if (wanted.starts_with(std::string_view(line.data(), colon))) {
            return HandOut(colon + 1, out, size);
        }
    }
    return std::ferror(file.get()) != 0 ? kError : kAbsent;
}

int GetEqualizer(char *out, int size) {
    std::array<char, kLineSize> enabled;
    std::array<char, kSelectedSize> selected;
    if (VARNAudioConfGet(kEnabledKey, enabled.data(), enabled.size()) < 1 ||
        enabled.data() != std::string_view("yes") ||
        VARNAudioConfGet(kSelectedKey, selected.data(), selected.size()) < 1) {
        return kAbsent;
    }
    const std::string system = SystemPath(varn::path::kSystemEqualizer);
    const Search found = SearchFile(system, selected.data(), out, size);
    if (found == kError) {
        LOG_ERROR(kCtrl, "Failed to open the system EQ profile [%s].", system.c_str());
    }
    if (found != kAbsent) {
        return found;
    }
    return SearchFile(SystemPath(varn::path::kUserEqualizer), selected.data(), out, size);
}

}  // namespace

}  // namespace Tonvale::ctrl

int VARNAudioGetEqualizer(char *out, int size) noexcept {
    using namespace Tonvale;
    if (out == nullptr || size <= 0) {
        LOG_ERROR(ctrl::kCtrl, "Bad parameters");
        return -1;
    }
    return support::Guarded(ctrl::kCtrl, -1, [&] { return ctrl::GetEqualizer(out, size); });
}
