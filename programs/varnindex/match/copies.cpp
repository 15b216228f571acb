#include "varnindex/match/copies.h"

#include <array>

#include "varn/sql.h"
#include "varnindex/compare/known.h"

namespace varnindex {
namespace {

// All files with the audio of a lost row, with the stars of the file and its tracks. There is no
// index of fingerprints, which would cost every new row more than this look at all rows costs a
// scan that has lost some.
constexpr const char kEqual[] =
    "CREATE TEMP TABLE equal AS SELECT t.id, l.id IS NOT NULL AS is_lost, userid, filesize,"
    " fingerprint, path, date, ARRAY(SELECT concat_ws(':', s.number, r.userid, r.star) FROM"
    " (SELECT t.id, -1 AS number UNION ALL SELECT v.id, v.track FROM virtual_info_track i"
    " JOIN track v ON v.id = i.track WHERE i.file_track = t.id) s"
    " JOIN rating_track r ON r.track = s.id AND r.star > 0) AS stars"
    " FROM track t LEFT JOIN lost l ON l.id = t.id WHERE NOT is_virtual AND (fingerprint, filesize)"
    " IN (SELECT fingerprint, filesize FROM track JOIN lost USING (id))"
    " AND (l.id IS NOT NULL OR @VARN:NEVAR);"
    // Of thousands of equal files some are enough: each row below looks at all that are left.
    "DELETE FROM equal USING (SELECT id, row_number() OVER (PARTITION BY userid, filesize,"
    " fingerprint, is_lost ORDER BY stars <> '{}' DESC, date, id) AS number FROM equal) n"
    " WHERE n.id = equal.id AND n.number > 200;"
    "CREATE INDEX ON equal (fingerprint, filesize, userid);"
    "CREATE TEMP TABLE copied (old integer PRIMARY KEY, new integer UNIQUE, path text)";

// One row after the other, because a file that one row takes is gone for the next.
constexpr const char kFind[] =
    "DO $$ DECLARE l record; BEGIN"
    " FOR l IN SELECT * FROM equal WHERE is_lost ORDER BY stars <> '{}' DESC, id LOOP"
    " INSERT INTO copied SELECT l.id, c.id, c.path FROM equal c WHERE NOT c.is_lost"
    " AND c.fingerprint = l.fingerprint AND c.filesize = l.filesize AND c.userid = l.userid"
    " AND c.date > l.date AND c.stars <@ l.stars"
    " AND NOT EXISTS (SELECT FROM copied o WHERE o.new = c.id)"
    " ORDER BY regexp_replace(c.path, '^.*/', '') = regexp_replace(l.path, '^.*/', '') DESC,"
    " cardinality(c.stars) DESC, c.date, c.id LIMIT 1;"
    " END LOOP; END $$";

// With the tracks that both files are split into. Giving a star waits until the rows have their
// final ids.
constexpr const char kStartBatch[] =
    "LOCK TABLE rating_track IN SHARE ROW EXCLUSIVE MODE;"
    "CREATE TEMP TABLE batch ON COMMIT DROP AS SELECT old, new FROM copied ORDER BY old LIMIT 1000;"
    "INSERT INTO batch SELECT o.track, n.track FROM"
    " (SELECT b.old, i.track, v.track AS number, row_number() OVER"
    " (PARTITION BY b.old, v.track ORDER BY v.id) AS turn FROM batch b"
    " JOIN virtual_info_track i ON i.file_track = b.old JOIN track v ON v.id = i.track) o"
    " JOIN (SELECT b.old, i.track, v.track AS number, row_number() OVER"
    " (PARTITION BY b.old, v.track ORDER BY v.id) AS turn FROM batch b"
    " JOIN virtual_info_track i ON i.file_track = b.new JOIN track v ON v.id = i.track) n"
    " USING (old, number, turn);"
    "INSERT INTO outbox (song, number, path, moved_to)"
    " SELECT o.id, CASE WHEN o.is_virtual THEN o.track ELSE -1 END, o.path, n.path"
    " FROM batch b JOIN track o ON o.id = b.old JOIN track n ON n.id = b.new";

// What the copy has of stars besides the same ones it got since it was found, and counts more than
// the stars of a row whose file is gone.
constexpr const char kInherit[] =
    "DELETE FROM rating_track r USING batch b WHERE r.track = b.new AND r.star = 0;"
    "DELETE FROM rating_track r USING batch b, rating_track n WHERE r.track = b.old"
    " AND n.track = b.new AND n.userid = r.userid;"
    "UPDATE rating_track r SET track = b.new FROM batch b WHERE r.track = b.old;"
    "UPDATE track t SET date = o.date FROM batch b JOIN track o ON o.id = b.old WHERE t.id = b.new;"
    "SELECT pass_listening_on(array_agg(old), array_agg(new)) FROM batch;"
    "DELETE FROM track WHERE id IN (SELECT old FROM batch UNION ALL SELECT i.track"
    " FROM virtual_info_track i JOIN batch b ON b.old = i.file_track);"
    "UPDATE track t SET id = b.old FROM batch b WHERE t.id = b.new;"
    "UPDATE virtual_info_track t SET file_track = b.old FROM batch b WHERE t.file_track = b.new;"
    "SELECT pass_listening_on(array_agg(new), array_agg(old)) FROM batch";

// The search's row comes first: the triggers of the others make a second one of the new id.
constexpr std::array kSideTables = {"song_text",      "album_track",       "artist_track",
                                    "composer_track", "genre_track",       "replaygain_track",
                                    "rating_track",   "virtual_info_track"};

}  // namespace

std::size_t FindCopies(Database &database, const Folders &folders, Reporter &reporter) {
    database.Execute(Made(varn::Sql(kEqual, ScopeCondition(Scope(folders.Roots()), false))));
    database.Execute(kFind);
    if (reporter.ListsChanges()) {
        for (const varn::Row row :
             database.Query("SELECT path FROM copied ORDER BY path COLLATE \"C\"")) {
            reporter.Tell("moved to", row.Text("path"));
        }
    }
    return static_cast<std::size_t>(
        database.Execute("DELETE FROM lost USING copied WHERE lost.id = copied.old"));
}

void GiveRowsToCopies(Database &database, StopQuestion isStopped) {
    while (database.Query("SELECT FROM copied LIMIT 1").Count() > 0) {
        StopIfAsked(isStopped);
        Transaction transaction(database);
        database.Execute(kStartBatch);
        database.Execute(kInherit);
        for (const char *table : kSideTables) {
            database.Execute(std::string("UPDATE ") + table +
                             " t SET track = b.old FROM batch b WHERE t.track = b.new");
        }
        database.Execute("DELETE FROM copied USING batch b WHERE copied.old = b.old");
        transaction.Commit();
    }
}

}  // namespace varnindex
