#include "service/lists/group_facts.h"

#include <algorithm>
#include <set>

#include "service/search/search_tables.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr char kFrom[] =
    " FROM song_text s JOIN track t ON t.id = s.track JOIN tag_text g ON g.id = s.tags WHERE ";

// The lowest row of a group as a number, with its kind.
constexpr char kCover[] = "min(2 * t.id::bigint + t.is_virtual::integer) AS cover";

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

// The fields of a record, each ended by a null byte, one after the other.
class Fields {
  public:
    explicit Fields(std::string_view record) : rest_(record) {}

    std::string_view Text() {
        const std::string_view field = rest_.substr(0, rest_.find('\0'));
        rest_.remove_prefix(std::min(field.size() + 1, rest_.size()));
        return field;
    }
    long long Number() { return varn::LeadingNumber<long long>(Text()); }
    int Int() { return static_cast<int>(Number()); }
    SongId Song() {
        const long long number = Number();
        return {static_cast<int>(number / 2), number % 2 != 0};
    }
    std::string String() { return std::string(Text()); }

  private:
    std::string_view rest_;
};

// What is kept of a group: these columns of its row, in this order. The number in the list's name is
// raised when they change.
template <typename Facts>
struct Kept;

template <>
struct Kept<AlbumFacts> {
    static constexpr char kList[] = "album_facts/1";
    static constexpr const char *kColumns[] = {"album",  "album_artist", "artist",   "sort_name",
                                               "genres", "year",         "songs",    "seconds",
                                               "added",  "cover",        "by_artist"};
    static constexpr auto kStatement = AlbumStatement;
    static AlbumFacts Read(Fields fields) {
        return {.name = fields.String(),
                .albumArtist = fields.String(),
                .artist = fields.String(),
                .sortName = fields.String(),
                .genres = GenresIn(fields.Text()),
                .year = fields.Int(),
                .songs = fields.Int(),
                .seconds = fields.Number(),
                .added = fields.Number(),
                .cover = fields.Song()};
    }
};

template <>
struct Kept<ArtistFacts> {
    static constexpr char kList[] = "artist_facts/1";
    static constexpr const char *kColumns[] = {"name", "sort_name", "is_listed", "albums", "cover"};
    static constexpr auto kStatement = ArtistStatement;
    static ArtistFacts Read(Fields fields) {
        return {.name = fields.String(),
                .sortName = fields.String(),
                .isListed = fields.Int() != 0,
                .albums = fields.Int(),
                .cover = fields.Song()};
    }
};

template <>
struct Kept<GenreFacts> {
    static constexpr char kList[] = "genre_facts/1";
    static constexpr const char *kColumns[] = {"name", "songs", "albums"};
    static constexpr auto kStatement = GenreStatement;
    static GenreFacts Read(Fields fields) {
        return {.name = fields.String(), .songs = fields.Int(), .albums = fields.Int()};
    }
};

template <typename Facts>
std::vector<std::string> ReadRecords(const ListRequest &request) {
    std::vector<std::string> records;
    AskTables([&](varn::Database &database) {
        for (const varn::Row row : database.Query(Kept<Facts>::kStatement(request))) {
            std::string &record = records.emplace_back();
            for (const char *column : Kept<Facts>::kColumns) {
                record += row.Text(column);
                record += '\0';
            }
        }
    });
    return records;
}

// The table "wanted" of albums, and below its join to rows with album and album_artist. `|| ''`
// keeps the planner from the index on the album artist, in which most songs have "".
std::string TableOf(const std::vector<AlbumFacts> &albums) {
    std::string names;
    for (const AlbumFacts &album : albums) {
        names += (names.empty() ? "" : ",") +
                 Made(varn::Sql("('@VARN:VAR', '@VARN:VAR')", album.name, album.albumArtist));
    }
    return "WITH wanted (name, artist) AS (VALUES " + names + ")";
}

constexpr char kJoinWanted[] = "JOIN wanted ON name = album AND artist = album_artist || ''";

}  // namespace

template <typename Facts>
GroupList<Facts>::GroupList(const ListRequest &request) {
    const ListKey key(Kept<Facts>::kList, request, "", "", false);
    const Version now = ReadVersion(request.uid);
    kept_ = KeptList::Of(key);
    if (!kept_ || kept_->OfVersion().songs != now.songs) {
        kept_.reset();
        computed_ = ComputePart(key, 0, 0, [&] { return ReadRecords<Facts>(request); });
    }
}

template <typename Facts>
std::string_view GroupList<Facts>::Record(std::size_t place) const {
    return kept_ ? (*kept_)[place] : std::string_view(computed_.records[place]);
}

template <typename Facts>
Facts GroupList<Facts>::operator[](std::size_t place) const {
    return Kept<Facts>::Read(Fields(Record(place)));
}

template <typename Facts>
std::string_view GroupList<Facts>::Text(std::size_t place, typename Facts::Column column) const {
    Fields fields(Record(place));
    for (int skipped = 0; skipped < column; ++skipped) {
        fields.Text();
    }
    return fields.Text();
}

template <typename Facts>
long long GroupList<Facts>::Number(std::size_t place, typename Facts::Column column) const {
    return varn::LeadingNumber<long long>(Text(place, column));
}

template <typename Facts>
typename GroupList<Facts>::Places GroupList<Facts>::All() const {
    return Where([](std::size_t) { return true; });
}

template <typename Facts>
typename GroupList<Facts>::Places GroupList<Facts>::Where(
    const std::function<bool(std::size_t place)> &isWanted) const {
    Places places;
    for (std::size_t place = 0; place < Count(); ++place) {
        if (isWanted(place)) {
            places.push_back(place);
        }
    }
    return places;
}

template <typename Facts>
typename GroupList<Facts>::Places GroupList<Facts>::Sorted(
    const std::function<std::optional<long long>(std::size_t place)> &numberOf) const {
    std::vector<std::pair<long long, std::size_t>> found;
    for (std::size_t place = 0; place < Count(); ++place) {
        if (const auto number = numberOf(place)) {
            found.emplace_back(*number, place);
        }
    }
    std::sort(found.begin(), found.end());
    Places places;
    for (const auto &[number, place] : found) {
        places.push_back(place);
    }
    return places;
}

template <typename Facts>
std::vector<Facts> GroupList<Facts>::At(const Places &places, int first, int most) const {
    std::vector<Facts> groups;
    const auto end = std::min<std::int64_t>(std::int64_t{first} + most, std::ssize(places));
    for (std::int64_t i = first; i < end; ++i) {
        groups.push_back((*this)[places[static_cast<std::size_t>(i)]]);
    }
    return groups;
}

template class GroupList<AlbumFacts>;
template class GroupList<ArtistFacts>;
template class GroupList<GenreFacts>;

ArtistList::Places Listed(const ArtistList &artists) {
    return artists.Where(
        [&](std::size_t place) { return artists.Number(place, ArtistFacts::kIsListed) != 0; });
}

std::vector<AlbumFacts> AlbumsOfArtist(const ListRequest &request, const std::string &name) {
    std::map<std::string, std::set<std::string, std::less<>>, std::less<>> names;
    AskTables([&](varn::Database &database) {
        for (const varn::Row row : database.Query(
                 "SELECT DISTINCT g.album, g.album_artist FROM song_text s JOIN tag_text g ON "
                 "g.id = s.tags WHERE " +
                 ShownSongs(request) + " AND " + IsOfArtist(name))) {
            names[row.Text("album")].insert(row.Text("album_artist"));
        }
    });
    const AlbumList albums(request);
    return albums.At(albums.Where([&](std::size_t place) {
        const auto found = names.find(albums.Text(place, AlbumFacts::kName));
        return found != names.end() &&
               found->second.contains(albums.Text(place, AlbumFacts::kAlbumArtist));
    }));
}

std::map<AlbumName, SongMarks> AlbumMarks(uid_t uid, const std::vector<AlbumFacts> *albums) {
    std::map<AlbumName, SongMarks> marks;
    if (albums != nullptr && albums->empty()) {
        return marks;
    }
    const int user = static_cast<int>(uid);
    const std::string table = albums != nullptr ? TableOf(*albums) : "";
    const std::string wanted = albums != nullptr ? kJoinWanted : "";
    for (const varn::Row row :
         AskTables(varn::Sql("@VARN:NEVAR SELECT album, album_artist, "
                             "coalesce(round(avg(star)), 0)::integer AS stars, "
                             "coalesce(sum(plays), 0) AS plays, "
                             "coalesce(extract(epoch FROM max(last)), 0)::bigint AS last, "
                             "coalesce(extract(epoch FROM max(made)), 0)::bigint AS made FROM ("
                             "SELECT album, album_artist, star, NULL::integer AS plays, "
                             "NULL::timestamptz AS last, NULL::timestamptz AS made "
                             "FROM rating_track JOIN album_track USING (track) @VARN:NEVAR "
                             "WHERE star > 0 AND userid = @VARN:INT UNION ALL "
                             "SELECT album, album_artist, NULL, plays, last, NULL "
                             "FROM song_play JOIN album_track USING (track) @VARN:NEVAR "
                             "WHERE userid = @VARN:INT UNION ALL "
                             "SELECT album, album_artist, NULL, NULL, NULL, made "
                             "FROM favourite_album @VARN:NEVAR WHERE userid = @VARN:INT) m "
                             "GROUP BY album, album_artist",
                             table, wanted, user, wanted, user, wanted, user))) {
        marks[{row.Text("album"), row.Text("album_artist")}] = {
            .stars = static_cast<int>(row.Number("stars")),
            .plays = static_cast<int>(row.Number("plays")),
            .lastPlayed = row.Number("last"),
            .favouriteSince = row.Number("made")};
    }
    return marks;
}

}  // namespace tonvale_service
