#include "service/listening/favourites.h"

#include <algorithm>
#include <set>

#include "service/base/failure.h"
#include "service/lists/tables.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

// What became of a favourite that was to be made: statements give these two columns.
void CheckMade(const varn::Rows &rows, Reason notSeen, const std::string &name) {
    if (rows[0].Number("seen") == 0) {
        throw Failure(notSeen, name);
    }
    if (rows[0].Number("kept") == 0) {
        throw Failure(Reason::kTooManyFavourites);
    }
}

}  // namespace

void SetFavouriteSongs(uid_t uid, const std::vector<int> &rows, bool isFavourite) {
    const int user = static_cast<int>(uid);
    if (!isFavourite) {
        AskTables(
            varn::Sql("DELETE FROM favourite_song WHERE userid = @VARN:INT "
                      "AND track = ANY ('@VARN:NEVAR'::integer[])",
                      user, ArrayText(rows)));
        return;
    }
    const std::set<int> wanted(rows.begin(), rows.end());
    const varn::Rows made =
        AskTables(varn::Sql("WITH seen AS (SELECT id FROM track WHERE userid IN (0, @VARN:INT) "
                            "AND id = ANY ('@VARN:NEVAR'::integer[])), "
                            "room AS (SELECT WHERE @VARN:INT >= (SELECT count(*) FROM "
                            "(SELECT track FROM favourite_song WHERE userid = @VARN:INT "
                            "UNION SELECT id FROM seen) all_of_them)), "
                            "made AS (INSERT INTO favourite_song (userid, track) "
                            "SELECT @VARN:INT, id FROM seen, room "
                            "WHERE (SELECT count(*) FROM seen) = @VARN:INT ORDER BY id "
                            "ON CONFLICT DO NOTHING) "
                            "SELECT ((SELECT count(*) FROM seen) = @VARN:INT)::integer AS seen, "
                            "(SELECT count(*) FROM room) AS kept",
                            user, ArrayText(rows), kMostFavourites, user, user,
                            static_cast<int>(wanted.size()), static_cast<int>(wanted.size())));
    CheckMade(made, Reason::kSongsLeft, "");
}

void SetFavouriteAlbum(uid_t uid, const AlbumName &album, bool isFavourite) {
    const int user = static_cast<int>(uid);
    if (!isFavourite) {
        AskTables(
            varn::Sql("DELETE FROM favourite_album WHERE userid = @VARN:INT "
                      "AND album = '@VARN:VAR' AND album_artist = '@VARN:VAR'",
                      user, album.name, album.artist));
        return;
    }
    const varn::Rows made = AskTables(
        varn::Sql("WITH given AS (SELECT @VARN:INT AS userid, '@VARN:VAR' AS album, "
                  "'@VARN:VAR' AS album_artist), "
                  "seen AS (SELECT FROM given g JOIN album_track a USING (album, album_artist) "
                  "JOIN track t ON t.id = a.track AND t.userid IN (0, g.userid) "
                  "WHERE album <> '' LIMIT 1), "
                  "there AS (SELECT FROM favourite_album JOIN given "
                  "USING (userid, album, album_artist)), "
                  "room AS (SELECT WHERE @VARN:INT > "
                  "(SELECT count(*) FROM favourite_album WHERE userid = @VARN:INT)), "
                  "made AS (INSERT INTO favourite_album SELECT given.* FROM given, seen, room "
                  "ON CONFLICT DO NOTHING) "
                  "SELECT (SELECT count(*) FROM seen) AS seen, "
                  "(EXISTS (SELECT FROM there) OR EXISTS (SELECT FROM room))::integer AS kept",
                  user, album.name, album.artist, kMostFavourites, user));
    CheckMade(made, Reason::kNoSuchAlbum, album.name);
}

void SetFavouriteArtist(uid_t uid, const std::string &artist, bool isFavourite) {
    const int user = static_cast<int>(uid);
    if (!isFavourite) {
        AskTables(
            varn::Sql("DELETE FROM favourite_artist WHERE userid = @VARN:INT "
                      "AND upper(artist) = upper('@VARN:VAR')",
                      user, artist));
        return;
    }
    const varn::Rows made = AskTables(
        varn::Sql("WITH given AS (SELECT @VARN:INT AS userid, '@VARN:VAR' AS artist), "
                  "seen AS (SELECT FROM given g JOIN "
                  "(SELECT track, artist_search FROM artist_track UNION ALL "
                  "SELECT track, album_artist_search FROM album_track) n "
                  "ON n.artist_search = upper(g.artist) "
                  "JOIN track t ON t.id = n.track AND t.userid IN (0, g.userid) "
                  "WHERE g.artist <> '' LIMIT 1), "
                  "there AS (SELECT FROM favourite_artist f JOIN given g USING (userid) "
                  "WHERE upper(f.artist) = upper(g.artist)), "
                  "room AS (SELECT WHERE @VARN:INT > "
                  "(SELECT count(*) FROM favourite_artist WHERE userid = @VARN:INT)), "
                  "made AS (INSERT INTO favourite_artist SELECT given.* FROM given, seen, room "
                  "ON CONFLICT DO NOTHING) "
                  "SELECT (SELECT count(*) FROM seen) AS seen, "
                  "(EXISTS (SELECT FROM there) OR EXISTS (SELECT FROM room))::integer AS kept",
                  user, artist, kMostFavourites, user));
    CheckMade(made, Reason::kNoSuchArtist, artist);
}

std::vector<SongId> FavouriteSongs(uid_t uid) {
    const int user = static_cast<int>(uid);
    std::vector<SongId> songs;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT id, is_virtual::integer AS is_virtual FROM favourite_song f "
                             "JOIN track t ON t.id = f.track AND t.userid IN (0, @VARN:INT) "
                             "WHERE f.userid = @VARN:INT ORDER BY made DESC, id",
                             user, user))) {
        songs.push_back(SongIn(row));
    }
    return songs;
}

std::map<AlbumName, long long> FavouriteAlbums(uid_t uid) {
    std::map<AlbumName, long long> albums;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT album, album_artist, extract(epoch FROM made)::bigint AS made "
                             "FROM favourite_album WHERE userid = @VARN:INT",
                             static_cast<int>(uid)))) {
        albums[{row.Text("album"), row.Text("album_artist")}] = row.Number("made");
    }
    return albums;
}

std::map<std::string, FavouriteArtist> FavouriteArtists(uid_t uid) {
    std::map<std::string, FavouriteArtist> artists;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT artist, extract(epoch FROM made)::bigint AS made "
                             "FROM favourite_artist WHERE userid = @VARN:INT",
                             static_cast<int>(uid)))) {
        artists[FoldedName(row.Text("artist"))] = {row.Text("artist"), row.Number("made")};
    }
    return artists;
}

std::string FoldedName(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return name;
}

}  // namespace tonvale_service
