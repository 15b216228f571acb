#include "service/lists/group_facts.h"

#include <cstring>
#include <set>
#include <utility>

#include "service/lists/kept_list.h"
#include "service/search/search_tables.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr char kFrom[] =
    " FROM song_text s JOIN track t ON t.id = s.track JOIN tag_text g ON g.id = s.tags WHERE ";

// The lowest row of a group as a number, with its kind.
constexpr char kCover[] = "min(2 * t.id::bigint + t.is_virtual::integer) AS cover";

// What is kept of a group: these columns of its row, in this order.
struct Kept {
    const char *list;  // with a number that is raised when the columns change
    std::vector<const char *> columns;
};

const Kept &AlbumColumns() {
    static const Kept kept = {"album_facts/1",
                              {"album", "album_artist", "artist", "sort_name", "genres", "year",
                               "songs", "seconds", "added", "cover", "by_artist"}};
    return kept;
}

const Kept &ArtistColumns() {
    static const Kept kept = {"artist_facts/1",
                              {"name", "sort_name", "is_listed", "albums", "cover"}};
    return kept;
}

const Kept &GenreColumns() {
    static const Kept kept = {"genre_facts/1", {"name", "songs", "albums"}};
    return kept;
}

std::string AlbumStatement(const ListRequest &request) {
    const std::string bySort = Expression({"", "min(g.album_sort)", true});
    return "SELECT g.album, g.album_artist, CASE WHEN min(g.artist) = max(g.artist) "
           "THEN max(g.artist) ELSE '' END AS artist, min(g.album_sort) AS sort_name, "
           "string_agg(DISTINCT t.agg_genre, ', ') AS genres, "
           "CASE WHEN max(t.year) = min(t.year) THEN max(t.year) ELSE 0 END AS year, "
           "count(*) AS songs, round(sum(greatest(t.duration, 0)))::bigint AS seconds, "
           "extract(epoch FROM max(t.date))::bigint AS added, " +
           std::string(kCover) + ", row_number() OVER (ORDER BY " +
           Expression({"", "min(g.album_artist_sort)", true}) + ", " + bySort +
           ", album, album_artist) AS by_artist" + kFrom + ShownSongs(request) +
           " GROUP BY g.album, g.album_artist ORDER BY " + bySort + ", album, album_artist";
}

// Both roles of an artist: the albums of one who is listed are those that stand under the name.
std::string ArtistStatement(const ListRequest &request) {
    const auto role = [&](const std::string &column, const char *isListed,
                          const std::string &condition) {
        return "SELECT max(" + column + ") AS name, min(" + column + "_sort) AS sort_name, " +
               isListed + " AS is_listed, count(DISTINCT (g.album, g.album_artist)) AS albums, " +
               kCover + kFrom + ShownSongs(request) + " AND " + condition + " GROUP BY upper(" +
               column + ")";
    };
    return "SELECT max(name) AS name, min(sort_name) AS sort_name, max(is_listed) AS is_listed, "
           "sum(albums) AS albums, min(cover) AS cover FROM (" +
           role("g.album_artist", "1", "g.album_artist <> ''") + " UNION ALL " +
           role("g.artist", "1", "g.album_artist = ''") + " UNION ALL " +
           role("g.artist", "0", "upper(g.album_artist) NOT IN ('', upper(g.artist))") +
           ") a GROUP BY upper(name) ORDER BY " + Expression({"", "min(sort_name)", true}) +
           ", upper(name)";
}

std::string GenreStatement(const ListRequest &request) {
    return "SELECT n.genre AS name, count(*) AS songs, "
           "count(DISTINCT (g.album, g.album_artist)) AS albums FROM genre_track n "
           "JOIN song_text s ON s.track = n.track JOIN tag_text g ON g.id = s.tags "
           "WHERE n.genre <> '' AND " +
           ShownSongs(request) + " GROUP BY n.genre ORDER BY " +
           Expression({"", "min(n.genre_sort)", true}) + ", n.genre";
}

// The records of all groups, each field ended by a null byte.
ListPart Records(const ListRequest &request, const Kept &kept,
                 std::string (*statement)(const ListRequest &)) {
    const ListKey key(kept.list, request, "", "", false);
    const Version now = ReadVersion(request.uid);
    auto part = KeptPart(key, 0, 0);
    if (!part || part->version.songs != now.songs) {
        part = ComputePart(key, 0, 0, [&] {
            std::vector<std::string> records;
            AskTables([&](varn::Database &database) {
                for (const varn::Row row : database.Query(statement(request))) {
                    std::string &record = records.emplace_back();
                    for (const char *column : kept.columns) {
                        record += row.Text(column);
                        record += '\0';
                    }
                }
            });
            return records;
        });
    }
    return *std::move(part);
}

// The fields of a record, one after the other.
class Fields {
  public:
    explicit Fields(const std::string &record) : next_(record.c_str()) {}

    const char *Text() { return std::exchange(next_, next_ + std::strlen(next_) + 1); }
    long long Number() { return varn::LeadingNumber<long long>(Text()); }
    int Int() { return static_cast<int>(Number()); }
    SongId Song() {
        const long long number = Number();
        return {static_cast<int>(number / 2), number % 2 != 0};
    }

  private:
    const char *next_;
};

template <typename Facts, typename Read>
std::vector<Facts> Every(const ListPart &part, const Read &read) {
    std::vector<Facts> all;
    all.reserve(part.records.size());
    for (const std::string &record : part.records) {
        Fields fields(record);
        all.push_back(read(fields));
    }
    return all;
}

AlbumFacts AlbumIn(Fields &fields) {
    return {.name = fields.Text(),
            .albumArtist = fields.Text(),
            .artist = fields.Text(),
            .sortName = fields.Text(),
            .genres = GenresIn(fields.Text()),
            .year = fields.Int(),
            .songs = fields.Int(),
            .seconds = fields.Number(),
            .added = fields.Number(),
            .cover = fields.Song(),
            .placeByArtist = fields.Int()};
}

ArtistFacts ArtistIn(Fields &fields) {
    return {.name = fields.Text(),
            .sortName = fields.Text(),
            .isListed = fields.Int() != 0,
            .albums = fields.Int(),
            .cover = fields.Song()};
}

}  // namespace

std::vector<AlbumFacts> AllAlbums(const ListRequest &request) {
    return Every<AlbumFacts>(Records(request, AlbumColumns(), AlbumStatement), AlbumIn);
}

std::vector<ArtistFacts> AllArtists(const ListRequest &request) {
    return Every<ArtistFacts>(Records(request, ArtistColumns(), ArtistStatement), ArtistIn);
}

std::vector<AlbumFacts> SomeAlbums(const ListRequest &request, const IsWanted &isWanted) {
    ListPart part = Records(request, AlbumColumns(), AlbumStatement);
    std::erase_if(part.records, [&](const std::string &record) {
        Fields fields(record);
        const char *const name = fields.Text();
        return !isWanted(name, fields.Text());
    });
    return Every<AlbumFacts>(part, AlbumIn);
}

std::vector<ArtistFacts> SomeArtists(const ListRequest &request,
                                     const std::function<bool(const char *name)> &isWanted) {
    ListPart part = Records(request, ArtistColumns(), ArtistStatement);
    std::erase_if(part.records,
                  [&](const std::string &record) { return !isWanted(record.c_str()); });
    return Every<ArtistFacts>(part, ArtistIn);
}

std::vector<AlbumFacts> AlbumsOfArtist(const ListRequest &request, const std::string &name) {
    std::set<std::pair<std::string, std::string>> names;
    AskTables([&](varn::Database &database) {
        for (const varn::Row row : database.Query(
                 "SELECT DISTINCT g.album, g.album_artist FROM song_text s JOIN tag_text g ON "
                 "g.id = s.tags WHERE " +
                 ShownSongs(request) + " AND " + IsOfArtist(name))) {
            names.emplace(row.Text("album"), row.Text("album_artist"));
        }
    });
    return SomeAlbums(request, [&](const char *album, const char *albumArtist) {
        return names.contains({album, albumArtist});
    });
}

std::map<AlbumName, SongMarks> AlbumMarks(uid_t uid) {
    const int user = static_cast<int>(uid);
    std::map<AlbumName, SongMarks> marks;
    for (const varn::Row row : AskTables(varn::Sql(
             "SELECT album, album_artist, coalesce(round(avg(star)), 0)::integer AS stars, "
             "coalesce(sum(plays), 0) AS plays, "
             "coalesce(extract(epoch FROM max(last)), 0)::bigint AS last FROM ("
             "SELECT track, star, NULL AS plays, NULL::timestamptz AS last FROM rating_track "
             "WHERE star > 0 AND userid = @VARN:INT UNION ALL "
             "SELECT track, NULL, plays, last FROM song_play WHERE userid = @VARN:INT) m "
             "JOIN album_track USING (track) GROUP BY album, album_artist",
             user, user))) {
        marks[{row.Text("album"), row.Text("album_artist")}] = {
            .stars = static_cast<int>(row.Number("stars")),
            .plays = static_cast<int>(row.Number("plays")),
            .lastPlayed = row.Number("last")};
    }
    for (const auto &[album, since] : FavouriteAlbums(uid)) {
        marks[album].favouriteSince = since;
    }
    return marks;
}

long long LibraryRead(const ListRequest &request) {
    return Records(request, ArtistColumns(), ArtistStatement).computed;
}

std::vector<GenreFacts> AllGenres(const ListRequest &request) {
    return Every<GenreFacts>(Records(request, GenreColumns(), GenreStatement), [](Fields &fields) {
        return GenreFacts{.name = fields.Text(), .songs = fields.Int(), .albums = fields.Int()};
    });
}

}  // namespace tonvale_service
