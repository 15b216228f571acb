#include "service/listening/play_queue.h"

#include <climits>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr char kNow[] = "(extract(epoch FROM clock_timestamp()) * 1000)::bigint";

void CheckPlace(const PlayPlace &place) {
    if (place.current < 0 || place.position < 0 || !IsLine(place.changedBy, kLongestChanger)) {
        throw Failure(Reason::kNotAPlayQueue);
    }
}

// True for the queue that the writer has seen.
std::string IsSeen(const PlayPlace &place) {
    return place.seen ? "q.changed = " + std::to_string(*place.seen) : "true";
}

long long ChangedIn(const varn::Rows &rows) {
    if (rows.Count() == 0) {
        throw Failure(Reason::kPlayQueueChanged);
    }
    return rows[0].Number("changed");
}

}  // namespace

std::optional<PlayQueue> PlayQueueOf(uid_t uid) {
    const int user = static_cast<int>(uid);
    const varn::Rows rows = AskTables(varn::Sql(
        "SELECT q.current, q.position, q.changed, q.changed_by, s.id, s.is_virtual, s.place "
        "FROM play_queue q LEFT JOIN LATERAL "
        "(SELECT t.id, t.is_virtual::integer AS is_virtual, g.place - 1 AS place "
        "FROM unnest(q.songs) WITH ORDINALITY g (song, place) "
        "JOIN track t ON t.id = g.song AND t.userid IN (0, @VARN:INT)) s ON true "
        "WHERE q.userid = @VARN:INT ORDER BY s.place",
        user, user));
    if (rows.Count() == 0) {
        return std::nullopt;
    }
    PlayQueue queue;
    const long long current = rows[0].Number("current");
    queue.changed = rows[0].Number("changed");
    queue.changedBy = rows[0].Text("changed_by");
    for (const varn::Row row : rows) {
        if (*row.Text("id") == '\0') {
            break;  // without songs there is one row
        }
        if (row.Number("place") == current) {
            queue.position = row.Number("position");
        }
        if (row.Number("place") < current) {
            ++queue.current;
        }
        queue.songs.push_back(SongIn(row));
    }
    // The songs from the current one on are gone.
    if (queue.current == static_cast<int>(queue.songs.size())) {
        queue.current = 0;
    }
    return queue;
}

long long SetPlayQueue(uid_t uid, const std::vector<int> &rows, const PlayPlace &place) {
    CheckPlace(place);
    if (rows.size() > kMostQueued ||
        place.current >= static_cast<int>(std::max<std::size_t>(rows.size(), 1))) {
        throw Failure(Reason::kNotAPlayQueue);
    }
    return ChangedIn(AskTables(varn::Sql(
        "INSERT INTO play_queue AS q (userid, songs, current, position, changed_by, changed) "
        "VALUES (@VARN:INT, '@VARN:NEVAR', @VARN:INT, @VARN:NEVAR, '@VARN:VAR', @VARN:NEVAR) "
        "ON CONFLICT (userid) DO UPDATE SET songs = EXCLUDED.songs, current = EXCLUDED.current, "
        "position = EXCLUDED.position, changed_by = EXCLUDED.changed_by, "
        "changed = greatest(EXCLUDED.changed, q.changed + 1) WHERE @VARN:NEVAR RETURNING changed",
        static_cast<int>(uid), ArrayText(rows), place.current, std::to_string(place.position),
        place.changedBy, kNow, IsSeen(place))));
}

long long SetPlayPlace(uid_t uid, int row, const PlayPlace &place) {
    CheckPlace(place);
    return ChangedIn(AskTables(varn::Sql(
        "UPDATE play_queue q SET current = (SELECT p - 1 FROM unnest(songs) WITH ORDINALITY "
        "s (song, p) WHERE song = @VARN:INT ORDER BY abs(p - 1 - @VARN:INT) LIMIT 1), "
        "position = @VARN:NEVAR, changed_by = '@VARN:VAR', "
        "changed = greatest(@VARN:NEVAR, q.changed + 1) "
        "WHERE userid = @VARN:INT AND @VARN:INT = ANY (songs) AND @VARN:NEVAR RETURNING changed",
        row, place.current, std::to_string(place.position), place.changedBy, kNow,
        static_cast<int>(uid), row, IsSeen(place))));
}

}  // namespace tonvale_service
