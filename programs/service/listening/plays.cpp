#include "service/listening/plays.h"

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

void NotePlays(uid_t uid, const std::vector<Play> &plays) {
    if (plays.size() > kMostPlaysAtOnce) {
        throw Failure(Reason::kTooManySongs);
    }
    std::vector<int> rows;
    std::vector<long long> times;
    for (const Play &play : plays) {
        rows.push_back(play.row);
        times.push_back(play.when);
    }
    const int user = static_cast<int>(uid);
    const varn::Rows noted =
        AskTables(varn::Sql("INSERT INTO song_play (userid, track, plays, last) "
                            "SELECT @VARN:INT, t.id, count(*), max(CASE WHEN played_at > 0 "
                            "AND played_at < extract(epoch FROM now()) "
                            "THEN to_timestamp(played_at) ELSE now() END) "
                            "FROM unnest('@VARN:NEVAR'::integer[], '@VARN:NEVAR'::bigint[]) "
                            "given (song, played_at) "
                            "JOIN track t ON t.id = song AND t.userid IN (0, @VARN:INT) "
                            "GROUP BY t.id ORDER BY t.id "
                            "ON CONFLICT (track, userid) DO UPDATE SET "
                            "plays = song_play.plays + EXCLUDED.plays, "
                            "last = greatest(song_play.last, EXCLUDED.last)",
                            user, ArrayText(rows), ArrayText(times), user));
    if (noted.Count() == 0) {
        throw Failure(Reason::kNoSuchSong, rows.empty() ? "" : std::to_string(rows.front()));
    }
}

void NotePlaying(uid_t uid, int row, const std::string &client) {
    if (!IsLine(client, kLongestClient)) {
        throw Failure(Reason::kNotAClient);
    }
    const int user = static_cast<int>(uid);
    const varn::Rows noted = AskTables(varn::Sql(
        "WITH old AS (DELETE FROM now_playing WHERE since < now() - interval '1 day' "
        "AND (userid, client) <> (@VARN:INT, '@VARN:VAR')) "
        "INSERT INTO now_playing SELECT @VARN:INT, '@VARN:VAR', id FROM track "
        "WHERE id = @VARN:INT AND userid IN (0, @VARN:INT) "
        "ON CONFLICT (userid, client) DO UPDATE SET track = EXCLUDED.track, since = now()",
        user, client, user, client, row, user));
    if (noted.Count() == 0) {
        throw Failure(Reason::kNoSuchSong, std::to_string(row));
    }
}

std::vector<Playing> PlayingNow(uid_t uid, int seconds) {
    const int user = static_cast<int>(uid);
    std::vector<Playing> playing;
    for (const varn::Row row : AskTables(varn::Sql(
             "SELECT client, id, is_virtual::integer AS is_virtual, "
             "extract(epoch FROM since)::bigint AS since FROM now_playing n "
             "JOIN track t ON t.id = n.track AND t.userid IN (0, @VARN:INT) "
             "WHERE n.userid = @VARN:INT AND n.since > now() - @VARN:INT * interval '1 second' "
             "ORDER BY n.since DESC",
             user, user, seconds))) {
        playing.push_back({row.Text("client"), SongIn(row), row.Number("since")});
    }
    return playing;
}

}  // namespace tonvale_service
