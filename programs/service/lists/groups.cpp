#include "service/lists/groups.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/tables.h"
#include "service/songs/songs.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr int kGroupsAtATime = 256;

// What the library takes for a condition of artists other than a name, in bytes.
constexpr std::size_t kLongestArtistCondition = 980;

constexpr char kGenre[] = "genre";
constexpr char kComposer[] = "composer";
constexpr char kStar[] = "star";

// Sort names have no leading articles.
constexpr SortColumn kAlbumSorts[] = {{"name", "album_sort", true},
                                      {"artist", "album_artist_sort", true},
                                      {"year", "year"},
                                      {"date", "create_date"},
                                      {"star", kStar}};
constexpr SortColumn kArtistSorts[] = {{"name", "artist_sort", true}, {"star", kStar}};
constexpr SortColumn kGenreSorts[] = {{"name", "genre_sort", true}, {"star", kStar}};
constexpr SortColumn kComposerSorts[] = {{"name", "composer_sort", true}, {"star", kStar}};

Tonvale::MediaHandle OpenAlbums(const ListRequest &request, const std::string &condition,
                                const std::string &order, int offset, int limit) {
    return Tonvale::MediaHandle(AudioInfoDBOpenWithAlbumList(
        request.library.c_str(), request.uid, condition.c_str(), order.c_str(), offset, limit));
}

Tonvale::MediaHandle OpenArtists(const ListRequest &request, const std::string &condition,
                                 const std::string &order, int offset, int limit) {
    return Tonvale::MediaHandle(AudioInfoDBOpenWithArtistList(
        request.library.c_str(), request.uid, condition.c_str(), order.c_str(), offset, limit));
}

template <const char *Column>
Tonvale::MediaHandle OpenValues(const ListRequest &request, const std::string &condition,
                                const std::string &order, int offset, int limit) {
    return Tonvale::MediaHandle(
        AudioInfoDBOpenWithContainerList(request.library.c_str(), request.uid, Column,
                                         condition.c_str(), order.c_str(), offset, limit));
}

// The condition of a page.
std::string GroupCondition(const Group &group, const ListRequest &request,
                           const std::optional<std::string> &name) {
    std::string condition = Condition(request.filters);
    const bool isArtists = group.open == OpenArtists;
    if (isArtists && condition.size() > kLongestArtistCondition) {
        throw Failure(Reason::kFiltersTooLong);
    }
    if (!name || name->empty()) {  // nothing is looked for
        return condition;
    }
    if (isArtists && !condition.empty()) {
        throw Failure(Reason::kNameBesideFilters);
    }
    AddCondition(condition, group.named(Needle(*name)));
    return condition;
}

// An order that is the same each time: equal groups come by their names as they are sorted, and
// then as they are written. By stars, the group without a name stands with those that have none.
std::string Order(const Group &group, const ListRequest &request) {
    const SortColumn &chosen = ChosenColumn(request, group.sorts);
    const SortColumn &name = group.sorts.front();
    const std::string nameless =
        chosen.column == kStar
            ? std::string(group.nameless) + (request.descending ? " ASC, " : " DESC, ")
            : "";
    return nameless + Expression(chosen) + " " + Direction(request) +
           (chosen.name == name.name ? "" : ", " + Expression(name)) + ", " + group.ties;
}

// Where the fields stand in a record.
enum RecordField { kNameField, kStarField, kAlbumArtistField };

std::string FieldIn(const std::string &record, int number) {
    std::size_t begin = 0;
    for (; number > 0; --number) {
        begin = record.find('\0', begin) + 1;
    }
    return record.c_str() + begin;
}

// Names as keys: artists come in any case.
AlbumName KeyOf(const Group &group, const std::string &name, const std::string &albumArtist) {
    return group.isAlbum ? AlbumName{name, albumArtist} : AlbumName{FoldedName(name), ""};
}

// What a user listens to, by plays or time.
using Ranks = std::map<AlbumName, std::pair<long long, long long>>;

// The plays of a user's songs, by their groups: {how many, the last one}. Songs with an album
// artist count for that artist, the others for their own.
constexpr char kAlbumPlays[] =
    "SELECT album AS name, album_artist AS artist, sum(plays) AS plays, "
    "(extract(epoch FROM max(last)) * 1000000)::bigint AS last FROM song_play p "
    "JOIN album_track a ON a.track = p.track WHERE p.userid = @VARN:INT GROUP BY 1, 2";
constexpr char kArtistPlays[] =
    "SELECT CASE WHEN has_album_artist THEN album_artist ELSE artist END AS name, '' AS artist, "
    "sum(plays) AS plays, (extract(epoch FROM max(last)) * 1000000)::bigint AS last "
    "FROM song_play p JOIN album_track a ON a.track = p.track "
    "JOIN artist_track r ON r.track = p.track WHERE p.userid = @VARN:INT GROUP BY 1";

Ranks PlaysOf(const Group &group, uid_t uid) {
    const int user = static_cast<int>(uid);
    Ranks ranks;
    for (const varn::Row row :
         AskTables(group.isAlbum ? varn::Sql(kAlbumPlays, user) : varn::Sql(kArtistPlays, user))) {
        auto &[plays, last] = ranks[KeyOf(group, row.Text("name"), row.Text("artist"))];
        plays += row.Number("plays");
        last = std::max<long long>(last, row.Number("last"));
    }
    return ranks;
}

std::map<AlbumName, long long> FavouritesOf(const Group &group, uid_t uid) {
    if (group.isAlbum) {
        return FavouriteAlbums(uid);
    }
    std::map<AlbumName, long long> favourites;
    for (const auto &[artist, favourite] : FavouriteArtists(uid)) {
        favourites[{artist, ""}] = favourite.since;
    }
    return favourites;
}

// Nothing where the list is sorted otherwise.
std::optional<Ranks> RanksOf(const Group &group, const ListRequest &request) {
    const bool isKnown = group.isAlbum || &group == &kArtists;
    if (isKnown && request.sortBy == kByFavourite) {
        Ranks ranks;
        for (const auto &[key, since] : FavouritesOf(group, request.uid)) {
            ranks[key] = {since, 0};
        }
        return ranks;
    }
    if (!isKnown || (request.sortBy != kByPlays && request.sortBy != kByLastPlay)) {
        return std::nullopt;
    }
    Ranks ranks = PlaysOf(group, request.uid);
    if (request.sortBy == kByLastPlay) {
        for (auto &[key, rank] : ranks) {
            std::swap(rank.first, rank.second);
        }
    }
    return ranks;
}

// The groups of a whole list that have a rank, by it; equal ones stay in their order.
ListPart Ranked(const Group &group, const ListRequest &request, const ListPart &all,
                const Ranks &ranks) {
    std::vector<std::pair<std::pair<long long, long long>, const std::string *>> found;
    for (const std::string &record : all.records) {
        const std::string name = FieldIn(record, kNameField);
        const auto rank = ranks.find(KeyOf(group, name, FieldIn(record, kAlbumArtistField)));
        if (!name.empty() && rank != ranks.end()) {
            found.emplace_back(rank->second, &record);
        }
    }
    std::stable_sort(found.begin(), found.end(), [&](const auto &one, const auto &other) {
        return request.descending ? one.first > other.first : one.first < other.first;
    });
    ListPart part;
    part.total = static_cast<std::int64_t>(found.size());
    const std::int64_t end = EndOfPage(request.offset, request.limit, part.total);
    for (std::int64_t i = request.offset; i < end; ++i) {
        part.records.push_back(*found[static_cast<std::size_t>(i)].second);
    }
    return part;
}

// All groups, as they are kept.
std::vector<std::string> Records(const Group &group, const ListRequest &request,
                                 const std::string &condition, const std::string &order) {
    const Tonvale::MediaHandle rows = group.open(request, condition, order, 0, -1);
    if (!rows) {
        NoAnswer();
    }
    std::vector<std::string> records;
    records.reserve(static_cast<std::size_t>(rows->rowCount));
    for (int row = 0; row < rows->rowCount; ++row) {
        std::string &record = records.emplace_back();
        for (const char *column : {group.column, kStar, "album_artist", "year", "create_date"}) {
            record += FieldOf(rows, row, column);
            record += '\0';
        }
    }
    return records;
}

// A part of a list, as it is kept or computed now.
ListPart PartOf(const Group &group, const ListRequest &request,
                const std::optional<std::string> &name) {
    const std::string condition = GroupCondition(group, request, name);
    const std::string order = Order(group, request);
    // All users without ratings see the same.
    const Version now = ReadVersion(request.uid);
    const ListKey key(group.list, request, condition, order, now.stars != 0);
    auto part = KeptPart(key, request.offset, request.limit);
    if (!part || part->version != now) {
        part = ComputePart(key, request.offset, request.limit,
                           [&] { return Records(group, request, condition, order); });
    }
    return *std::move(part);
}

}  // namespace

const Group kAlbums{
    "albums",
    "album",
    kAlbumSorts,
    "album_artist_sort, album, album_artist",
    "COALESCE(album, '') = ''",
    true,
    OpenAlbums,
    [](const std::string &name) { return varn::Sql("album ILIKE '%%@VARN:LVAR%%'", name); }};
// Without the name of a column: the library asks for both roles of an artist then.
const Group kArtists{
    "artists",
    "artist",
    kArtistSorts,
    "artist",
    "COALESCE(artist_search, '') = ''",
    false,
    OpenArtists,
    [](const std::string &name) { return varn::Sql(" ILIKE '%%@VARN:LVAR%%'", name); }};
const Group kGenres{
    "genres",
    kGenre,
    kGenreSorts,
    kGenre,
    "COALESCE(genre, '') = ''",
    false,
    OpenValues<kGenre>,
    [](const std::string &name) { return varn::Sql("genre ILIKE '%%@VARN:LVAR%%'", name); }};
const Group kComposers{
    "composers",
    kComposer,
    kComposerSorts,
    kComposer,
    "COALESCE(composer, '') = ''",
    false,
    OpenValues<kComposer>,
    [](const std::string &name) { return varn::Sql("composer ILIKE '%%@VARN:LVAR%%'", name); }};

GroupPage::GroupPage(const Group &group, ListPart part, const ListRequest &request)
    : Page(group.list, request.offset, part.total), group_(group) {
    std::string shows = part.version.Text();
    if (request.tellsFavourites) {
        shows += shows.empty() ? "" : FavouritesVersion(request.uid);
        favourites_ = FavouritesOf(group, request.uid);
    }
    records_ = std::move(part.records);
    SetShows(shows);
}

Json::Value GroupPage::Next() {
    Json::Value groups(Json::arrayValue);
    for (int count = 0; count < kGroupsAtATime && next_ < records_.size(); ++count) {
        groups.append(ObjectOf(records_[next_++]));
    }
    return groups;
}

Json::Value GroupPage::ObjectOf(const std::string &record) const {
    const char *field = record.c_str();
    const auto next = [&] { return std::exchange(field, field + std::strlen(field) + 1); };
    Json::Value json(Json::objectValue);
    const std::string name = next();
    const std::string star = next();
    const std::string albumArtist = next();
    json["name"] = name;
    json["star"] = name.empty() ? 0.0 : varn::LeadingNumber<double>(star);
    if (group_.isAlbum) {
        json["album_artist"] = albumArtist;
        json["year"] = Json::Int64{varn::LeadingNumber<int64_t>(next())};
        json["date"] = next();
    }
    if (favourites_) {
        json["favourite"] = favourites_->contains(KeyOf(group_, name, albumArtist));
    }
    return json;
}

std::unique_ptr<GroupPage> ListGroups(const Group &group, const ListRequest &request,
                                      const std::optional<std::string> &name) {
    if (const auto ranks = RanksOf(group, request)) {
        ListRequest all = request;
        all.sortBy.clear();
        all.descending = false;
        all.offset = 0;
        all.limit = 0;
        return std::make_unique<GroupPage>(
            group, Ranked(group, request, PartOf(group, all, name), *ranks), request);
    }
    return std::make_unique<GroupPage>(group, PartOf(group, request, name), request);
}

}  // namespace tonvale_service
