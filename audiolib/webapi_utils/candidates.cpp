// The conditions that find a playlist's entries in the library.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <string_view>
#include <unordered_set>

#include "support/boundary.h"
#include "support/log.h"
#include "support/page_range.h"
#include "support/remote_path.h"
#include "tonvale/playlists.h"
#include "varn/path.h"
#include "varn/sql.h"
#include "webapi_utils/source.h"

namespace Tonvale::webapi_utils {

namespace {

// A list of names for a statement. The server finds a few of them one by one in the index; many it
// compares with every row, unless they are a table of values, which it hashes.
struct Names {
    const char *columns;
    const char *kind;  // of their rows: is_virtual
    std::size_t few;
    std::string list = {};
    std::size_t count = 0;

    void Add(const std::optional<std::string> &name) {
        // A path that is not UTF-8 is in no library.
        if (name) {
            list += (list.empty() ? "" : ", ") + *name;
            ++count;
        }
    }
    std::string Condition() const {
        if (list.empty()) {
            return "";
        }
        return std::string(columns) + " IN (" + (count > few ? "VALUES " : "") + list +
               ") AND is_virtual = '" + kind + "'";
    }
};

struct Conditions {
    std::string real;
    std::string virtualSongs;
};

Conditions BuildConditions(const VLIBSZLIST *candidates, support::PageRange range) {
    Names files = {"path", "FALSE", 2000};
    Names tracks = {"(path, track)", "TRUE", 100};
    std::unordered_set<std::string_view> seen;
    varn::PathBuffer file{};
    for (std::int64_t i = range.begin; i < range.end; ++i) {
        const char *const text = VLIBCSzListGet(candidates, static_cast<int>(i));
        const std::string_view name(text);
        if (!name.starts_with('/') || name.size() >= varn::kPathSize || !seen.insert(name).second) {
            continue;
        }
        int track = 0;
        if (IsVirtualPath(text, file.data(), file.size(), &track)) {
            tracks.Add(varn::Sql("('@VARN:VAR', @VARN:INT)", file.data(), track));
        } else {
            files.Add(varn::Sql("('@VARN:VAR')", text));
        }
    }
    return {files.Condition(), tracks.Condition()};
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
        const auto range = Tonvale::support::RangeOfPage(*offset, *limit, candidates->nItem);
        if (*limit > 0 && *offset >= 0 && range.begin < range.end) {
            *limit = static_cast<int>(range.end - range.begin);
        }
        Conditions made = BuildConditions(candidates, range);
        real = std::move(made.real);
        virtualCondition = std::move(made.virtualSongs);
        return 0;
    });
}
