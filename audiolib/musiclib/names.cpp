// Orders by sort names, and whose library a path belongs to.
#include <strings.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "musiclib/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/path.h"
#include "varn/systempath.h"

namespace Tonvale::musiclib {

namespace {

// Columns with a sort column beside them. album_artist comes before album, which it begins with.
constexpr std::array<std::string_view, 6> kNames = {"title",  "album_artist", "album",
                                                    "artist", "composer",     "genre"};

std::string SortNameOrder(const std::string &order) {
    std::string copy = order;
    const char *const trimmed = VLIBCStrTrimSpace(copy.data());
    for (const std::string_view name : kNames) {
        if (strncasecmp(trimmed, name.data(), name.size()) == 0) {
            return std::string(name) + "_sort" + (trimmed + name.size());
        }
    }
    return order;
}

bool IsBelowHomes(const VARN_MEDIA_INFO &record) {
    varn::PathBuffer homes = {};
    const ssize_t length =
        readlink(SystemPath(varn::path::kHomes).c_str(), homes.data(), homes.size() - 1);
    // Byte by byte, without regard to where a folder's name ends: the link's target is the folder
    // that holds the homes and nothing else.
    return length > 0 && IsPersonalLibraryEnabled() &&
           std::strncmp(record.path, homes.data(), static_cast<std::size_t>(length)) == 0;
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNGetIgnoredOrderString(const char *orderText, char *out, size_t outSize) noexcept {
    using namespace Tonvale::musiclib;
    if (orderText == nullptr || out == nullptr || outSize == 0) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    *out = '\0';
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const std::string order = SortNameOrder(orderText);
        if (order.size() >= outSize) {
            LOG_ERROR(kSource, "An order of %zu bytes does not fit into %zu.", order.size(),
                      outSize);
            return -1;
        }
        std::memcpy(out, order.c_str(), order.size() + 1);
        return 0;
    });
}

bool VARNMusicIsPersonalLibrary(const VARN_MEDIA_INFO *record) noexcept {
    using namespace Tonvale::musiclib;
    return record != nullptr &&
           Tonvale::support::Guarded(kSource, false, [&] { return IsBelowHomes(*record); });
}
