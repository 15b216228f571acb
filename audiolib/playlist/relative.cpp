// Paths with a step up in them.
#include <cstdio>
#include <string>
#include <string_view>

#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/playlists.h"
#include "varn/path.h"

namespace {

constexpr std::string_view kStepUp = "/..";

// Only the first step is taken: entries are written with one at most.
std::string WithoutFirstStep(std::string_view path) {
    const std::size_t at = path.find(kStepUp);
    if (at == path.npos) {
        return std::string(path);
    }
    const std::size_t above = path.substr(0, at).rfind('/');
    std::string result(path.substr(0, above == path.npos ? at : above));
    return result.append(path.substr(at + kStepUp.size()));
}

}  // namespace

int VARNPathRelativeToABS(const char *path, char *out, int outSize) noexcept {
    using Tonvale::playlist::kSource;
    if (path == nullptr || out == nullptr || outSize < 1) {
        LOG_ERROR_OLD(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const std::string result =
            WithoutFirstStep(std::string_view(path).substr(0, varn::kPathSize - 1));
        std::snprintf(out, static_cast<std::size_t>(outSize), "%s", result.c_str());
        return 0;
    });
}
