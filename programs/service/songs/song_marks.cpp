#include "service/songs/song_marks.h"

#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

std::map<int, SongMarks> MarksOf(uid_t uid, const std::vector<int> &rows) {
    std::map<int, SongMarks> marks;
    if (rows.empty()) {
        return marks;
    }
    const int user = static_cast<int>(uid);
    const varn::Rows found =
        AskTables(varn::Sql("SELECT id, coalesce(star, 0) AS star, coalesce(plays, 0) AS plays, "
                            "coalesce(extract(epoch FROM last), 0)::bigint AS last, "
                            "coalesce(extract(epoch FROM made), 0)::bigint AS made "
                            "FROM unnest('@VARN:NEVAR'::integer[]) id "
                            "LEFT JOIN rating_track r ON r.track = id AND r.userid = @VARN:INT "
                            "LEFT JOIN song_play p ON p.track = id AND p.userid = @VARN:INT "
                            "LEFT JOIN favourite_song f ON f.track = id AND f.userid = @VARN:INT "
                            "WHERE star > 0 OR plays > 0 OR made IS NOT NULL",
                            ArrayText(rows), user, user, user));
    for (const varn::Row row : found) {
        marks[static_cast<int>(row.Number("id"))] = {static_cast<int>(row.Number("star")),
                                                     static_cast<int>(row.Number("plays")),
                                                     row.Number("last"), row.Number("made")};
    }
    return marks;
}

}  // namespace tonvale_service
