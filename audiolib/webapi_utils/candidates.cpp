// The conditions that find a playlist's entries in the library.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <string_view>
#include <unordered_set>

#include "support/boundary.h"
#include "support/log.h"
#include "support/remote_path.h"
#include "tonvale/playlists.h"
#include "varn/sql.h"
#include "webapi_utils/source.h"

namespace Tonvale::webapi_utils {

namespace {

// Paths in the library are shorter than this.
constexpr std::size_t kPathSize = 4096;

void Add(std::string &list, const std::optional<std::string> &value) {
    // A path that is not UTF-8 is in no library.
    if (value) {
        list += (list.empty() ? "" : ", ") + *value;
    }
}

void AddCandidate(const char *text, std::string &real, std::string &virtualSongs) {
    std::array<char, kPathSize> file{};
    int track = 0;
    if (IsVirtualPath(text, file.data(), file.size(), &track)) {
        Add(virtualSongs, varn::Sql("('@VARN:VAR', @VARN:INT)", file.data(), track));
    } else {
        Add(real, varn::Sql("('@VARN:VAR')", text));
    }
}

// Tables of values: the server finds a few of them one by one in the index, and hashes many.
void BuildConditions(const VLIBSZLIST *candidates, std::int64_t begin, std::int64_t end,
                     std::string &real, std::string &virtualSongs) {
    std::unordered_set<std::string_view> seen;
    for (std::int64_t i = begin; i < end; ++i) {
        const std::string_view text = VLIBCSzListGet(candidates, static_cast<int>(i));
        if (text.starts_with('/') && text.size() < kPathSize && seen.insert(text).second) {
            AddCandidate(text.data(), real, virtualSongs);
        }
    }
    if (!real.empty()) {
        real = "path IN (VALUES " + real + ") AND is_virtual = 'FALSE'";
    }
    if (!virtualSongs.empty()) {
        virtualSongs = "(path, track) IN (VALUES " + virtualSongs + ") AND is_virtual = 'TRUE'";
    }
}

}  // namespace

}  // namespace Tonvale::webapi_utils

int VARNAudioWebapiUtilsGetDBQueryByCandidateList(const VLIBSZLIST *candidates, int *offset,
                                                  int *limit, std::string &real,
                                                  std::string &virtualCondition) noexcept {
    using namespace Tonvale::webapi_utils;
    real.clear();
    virtualCondition.clear();
    if (candidates == nullptr || offset == nullptr || limit == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const std::int64_t count = candidates->nItem;
        const std::int64_t begin = std::max<std::int64_t>(*offset, 0);
        std::int64_t end = count;
        if (*limit != 0) {
            end = std::clamp<std::int64_t>(std::int64_t{*offset} + *limit, 0, count);
        }
        if (*limit > 0 && *offset >= 0 && begin < end) {
            *limit = static_cast<int>(end - begin);
        }
        std::string realMade;
        std::string virtualMade;
        BuildConditions(candidates, begin, end, realMade, virtualMade);
        real = std::move(realMade);
        virtualCondition = std::move(virtualMade);
        return 0;
    });
}
