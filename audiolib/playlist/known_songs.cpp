#include "playlist/known_songs.h"

#include "playlist/source.h"
#include "support/log.h"
#include "support/statement.h"
#include "support/virtual_name.h"
#include "tonvale/playlists.h"

namespace Tonvale::playlist {

namespace {

constexpr char kSelect[] = "SELECT path, is_virtual, track FROM track WHERE ";

bool AddNames(DBConnect_tag *conn, const std::string &condition,
              std::unordered_set<std::string> &names) {
    const auto rows = support::Execute(kSource, conn, kSelect + condition);
    if (!rows) {
        return false;
    }
    for (const varn::Row row : *rows) {
        names.insert(support::NameInPlaylist(row));
    }
    return true;
}

}  // namespace

std::optional<std::unordered_set<std::string>> KnownSongs(const VLIBSZLIST *names) {
    int offset = 0;
    int limit = 0;
    std::string real;
    std::string virtualSongs;
    if (VARNAudioWebapiUtilsGetDBQueryByCandidateList(names, &offset, &limit, real, virtualSongs) !=
        0) {
        LOG_ERROR(kSource, "Failed to get db query by candidate list.");
        return std::nullopt;
    }
    std::unordered_set<std::string> known;
    if (real.empty() && virtualSongs.empty()) {
        return known;
    }
    const varn::Connection conn = support::Connect(kSource);
    if (!conn) {
        return std::nullopt;
    }
    for (const std::string &condition : {real, virtualSongs}) {
        if (!condition.empty() && !AddNames(conn.get(), condition, known)) {
            return std::nullopt;
        }
    }
    return known;
}

}  // namespace Tonvale::playlist
