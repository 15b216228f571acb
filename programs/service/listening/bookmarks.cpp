#include "service/listening/bookmarks.h"

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

std::vector<Bookmark> BookmarksOf(uid_t uid) {
    const int user = static_cast<int>(uid);
    std::vector<Bookmark> bookmarks;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT id, is_virtual::integer AS is_virtual, b.position, b.comment, "
                             "extract(epoch FROM made)::bigint AS made, "
                             "extract(epoch FROM changed)::bigint AS changed FROM bookmark b "
                             "JOIN track t ON t.id = b.track AND t.userid IN (0, @VARN:INT) "
                             "WHERE b.userid = @VARN:INT ORDER BY b.changed DESC, id",
                             user, user))) {
        bookmarks.push_back({SongIn(row), row.Number("position"), row.Text("comment"),
                             row.Number("made"), row.Number("changed")});
    }
    return bookmarks;
}

void SetBookmark(uid_t uid, int row, long long position, const std::string &comment) {
    if (position < 0 || comment.size() > kLongestComment || !IsUtf8(comment)) {
        throw Failure(Reason::kNotABookmark);
    }
    const int user = static_cast<int>(uid);
    const varn::Rows made = AskTables(
        varn::Sql("WITH seen AS (SELECT id FROM track "
                  "WHERE id = @VARN:INT AND userid IN (0, @VARN:INT)), "
                  "made AS (INSERT INTO bookmark (userid, track, position, comment) "
                  "SELECT @VARN:INT, id, @VARN:NEVAR, '@VARN:VAR' FROM seen WHERE @VARN:INT > "
                  "(SELECT count(*) FROM bookmark WHERE userid = @VARN:INT AND track <> id) "
                  "ON CONFLICT (track, userid) DO UPDATE SET position = EXCLUDED.position, "
                  "comment = EXCLUDED.comment, changed = now() RETURNING 1) "
                  "SELECT (SELECT count(*) FROM seen) AS seen, (SELECT count(*) FROM made) AS made",
                  row, user, user, std::to_string(position), comment, kMostBookmarks, user));
    if (made[0].Number("seen") == 0) {
        throw Failure(Reason::kNoSuchSong, std::to_string(row));
    }
    if (made[0].Number("made") == 0) {
        throw Failure(Reason::kTooManyBookmarks);
    }
}

void RemoveBookmark(uid_t uid, int row) {
    const varn::Rows gone =
        AskTables(varn::Sql("DELETE FROM bookmark WHERE userid = @VARN:INT AND track = @VARN:INT",
                            static_cast<int>(uid), row));
    if (gone.Count() == 0) {
        throw Failure(Reason::kNoSuchBookmark, std::to_string(row));
    }
}

}  // namespace tonvale_service
