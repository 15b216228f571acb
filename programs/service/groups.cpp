#include "groups.h"

#include <cstring>
#include <utility>

#include "failure.h"
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

GroupPage::GroupPage(const Group &group, ListPart part, int offset)
    : Page(group.list, offset, part.total), group_(group), records_(std::move(part.records)) {
    SetShows(part.version.Text());
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
    json["name"] = name;
    json["star"] = name.empty() ? 0.0 : varn::LeadingNumber<double>(star);
    if (group_.isAlbum) {
        json["album_artist"] = next();
        json["year"] = Json::Int64{varn::LeadingNumber<int64_t>(next())};
        json["date"] = next();
    }
    return json;
}

std::unique_ptr<GroupPage> ListGroups(const Group &group, const ListRequest &request,
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
    return std::make_unique<GroupPage>(group, *std::move(part), request.offset);
}

}  // namespace tonvale_service
