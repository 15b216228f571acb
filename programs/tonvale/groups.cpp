// The verbs that list what tracks have in common: albums, artists, genres and composers.
#include <json/json.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "library_options.h"
#include "page_output.h"
#include "varn/db.h"
#include "varn/sql.h"

namespace tonvale_cli {

namespace {

struct GroupOptions : LibraryOptions {
    std::optional<std::string> name;
};

// The rows of a page, as the server gave them.
class Rows {
  public:
    explicit Rows(Handle handle) : handle_(std::move(handle)) {}
    explicit operator bool() const { return handle_ != nullptr; }
    int Count() const { return handle_->rowCount; }
    std::string Text(int row, const char *column) const {
        const char *text = VARNDBFetchField(handle_->result, row, column);
        return text != nullptr ? text : "";
    }
    int64_t Number(int row, const char *column) const {
        return std::strtoll(Text(row, column).c_str(), nullptr, 10);
    }
    double Star(int row) const { return std::strtod(Text(row, "star").c_str(), nullptr); }

  private:
    Handle handle_;
};

// One of the verbs.
struct Group {
    const char *verb;
    const char *description;
    Noun noun;
    const char *column;                 // what the group has in common
    std::span<const SortColumn> sorts;  // the first is the name
    const char *ties;                   // orders groups of one name as it is sorted
    bool isAlbum;
    Handle (*open)(const GroupOptions &options, uid_t uid, const std::string &condition,
                   const std::string &order, int offset, int limit);
    // The condition for a part of the name.
    std::optional<std::string> (*named)(const std::string &name);
};

constexpr SortColumn kAlbumSorts[] = {{"name", BY_NAME("album")},
                                      {"artist", BY_NAME("album_artist")},
                                      {"year", "year"},
                                      {"date", "create_date"},
                                      {"star", "star"}};
constexpr SortColumn kArtistSorts[] = {{"name", BY_NAME("artist")}, {"star", "star"}};
constexpr SortColumn kGenreSorts[] = {{"name", BY_NAME("genre")}, {"star", "star"}};
constexpr SortColumn kComposerSorts[] = {{"name", BY_NAME("composer")}, {"star", "star"}};

Handle OpenAlbums(const GroupOptions &options, uid_t uid, const std::string &condition,
                  const std::string &order, int offset, int limit) {
    return Handle(AudioInfoDBOpenWithAlbumList(options.library.c_str(), uid, condition.c_str(),
                                               order.c_str(), offset, limit));
}

Handle OpenArtists(const GroupOptions &options, uid_t uid, const std::string &condition,
                   const std::string &order, int offset, int limit) {
    return Handle(AudioInfoDBOpenWithArtistList(options.library.c_str(), uid, condition.c_str(),
                                                order.c_str(), offset, limit));
}

template <const char *Column>
Handle OpenValues(const GroupOptions &options, uid_t uid, const std::string &condition,
                  const std::string &order, int offset, int limit) {
    return Handle(AudioInfoDBOpenWithContainerList(
        options.library.c_str(), uid, Column, condition.c_str(), order.c_str(), offset, limit));
}

// The library takes 1023 bytes for the condition of an artist's name; a name's own marks double.
constexpr std::size_t kLongestName = 400;

constexpr char kGenre[] = "genre";
constexpr char kComposer[] = "composer";

constexpr Group kGroups[] = {
    {"albums",
     "List the albums, told apart by name and album artist",
     {"album", "albums"},
     "album",
     kAlbumSorts,
     "album_artist_sort, album, album_artist",
     true,
     OpenAlbums,
     [](const std::string &name) { return varn::Sql("album ILIKE '%%@VARN:LVAR%%'", name); }},
    // Without the name of a column: the library asks for both roles of an artist then.
    {"artists",
     "List the artists, and album artists for their albums",
     {"artist", "artists"},
     "artist",
     kArtistSorts,
     "artist",
     false,
     OpenArtists,
     [](const std::string &name) { return varn::Sql(" ILIKE '%%@VARN:LVAR%%'", name); }},
    {"genres",
     "List the genres",
     {"genre", "genres"},
     kGenre,
     kGenreSorts,
     kGenre,
     false,
     OpenValues<kGenre>,
     [](const std::string &name) { return varn::Sql("genre ILIKE '%%@VARN:LVAR%%'", name); }},
    {"composers",
     "List the composers",
     {"composer", "composers"},
     kComposer,
     kComposerSorts,
     kComposer,
     false,
     OpenValues<kComposer>,
     [](const std::string &name) { return varn::Sql("composer ILIKE '%%@VARN:LVAR%%'", name); }},
};

// The condition of a page. Empty, with a message.
std::optional<std::string> GroupCondition(const Group &group, const GroupOptions &options) {
    std::optional<std::string> condition = Condition(options.filters);
    if (!condition || !options.name) {
        return condition;
    }
    const bool isArtists = group.open == OpenArtists;
    if (isArtists && !condition->empty()) {
        Complain("--name looks for an artist in both roles, and takes no filter beside it");
        return std::nullopt;
    }
    if (options.name->size() > kLongestName) {
        Complain("--name takes at most " + std::to_string(kLongestName) + " bytes");
        return std::nullopt;
    }
    if (!AddCondition(*condition, group.named(*options.name))) {
        Complain("a filter's text must be UTF-8");
        return std::nullopt;
    }
    return condition;
}

// An order that is the same each time: equal groups come by their names as they are sorted, and
// then as they are written.
std::string Order(const Group &group, const GroupOptions &options) {
    const SortColumn &name = group.sorts.front();
    return PrimaryOrder(options, group.sorts) +
           (options.sortBy == name.name ? "" : std::string(", ") + name.expression) + ", " +
           group.ties;
}

void PrintTable(const Group &group, const Rows &rows, int offset, int64_t total) {
    std::vector<Table::Column> columns = {{group.isAlbum ? "ALBUM" : "NAME", false, true}};
    if (group.isAlbum) {
        columns.push_back({"ALBUM ARTIST", false, true});
        columns.push_back({"YEAR", true, false});
    }
    columns.push_back({"STARS", true, false});
    Table table(std::move(columns));
    for (int row = 0; row < rows.Count(); ++row) {
        std::vector<std::string> cells = {rows.Text(row, group.column)};
        if (group.isAlbum) {
            const int64_t year = rows.Number(row, "year");
            cells.push_back(rows.Text(row, "album_artist"));
            cells.push_back(year > 0 ? std::to_string(year) : "");
        }
        char star[32] = "";
        if (rows.Star(row) > 0) {
            std::snprintf(star, sizeof star, "%.1f", rows.Star(row));
        }
        cells.emplace_back(star);
        table.AddRow(std::move(cells));
    }
    PrintPage(table, offset, rows.Count(), total, group.noun);
}

Json::Value JsonOf(const Group &group, const Rows &rows, int row) {
    Json::Value json(Json::objectValue);
    json["name"] = ValidUtf8(rows.Text(row, group.column));
    json["star"] = rows.Star(row);
    if (group.isAlbum) {
        json["album_artist"] = ValidUtf8(rows.Text(row, "album_artist"));
        json["year"] = Json::Int64{rows.Number(row, "year")};
        json["date"] = rows.Text(row, "create_date");
    }
    return json;
}

void PrintJson(const Group &group, const Rows &rows, int offset, int64_t total) {
    Json::Value page(Json::objectValue);
    page["offset"] = offset;
    page["total"] = Json::Int64{total};
    Json::Value &list = page[group.noun.many] = Json::Value(Json::arrayValue);
    for (int row = 0; row < rows.Count(); ++row) {
        list.append(JsonOf(group, rows, row));
    }
    JsonWriter()->write(page, &std::cout);
    std::cout << "\n";
}

int List(const Group &group, GroupOptions &options) {
    const std::optional<std::string> condition = GroupCondition(group, options);
    if (!condition) {
        return kUsage;
    }
    int status = kDone;
    const std::optional<uid_t> uid = OpenLibrary(options, status);
    if (!uid) {
        return status;
    }
    const auto open = [&](int offset, int limit) {
        return Rows(group.open(options, *uid, *condition, Order(group, options), offset, limit));
    };
    const Rows rows = open(options.offset, options.limit);
    // Every row tells how many there are; a page behind the last one has none that could.
    const bool isBehind = rows && rows.Count() == 0 && options.offset > 0;
    const Rows first = isBehind ? open(0, 1) : Rows(nullptr);
    if (!rows || (isBehind && !first)) {
        return NoAnswer();
    }
    const Rows &told = isBehind ? first : rows;
    const int64_t total = told.Count() > 0 ? told.Number(0, "result_count") : 0;
    (options.json ? PrintJson : PrintTable)(group, rows, options.offset, total);
    return kDone;
}

}  // namespace

void AddGroups(CLI::App &app, Action &action) {
    for (const Group &group : kGroups) {
        CLI::App *verb = app.add_subcommand(group.verb, group.description);
        const auto options = std::make_shared<GroupOptions>();
        AddLibrary(*verb, *options);
        verb->add_option("--name", options->name, "A part of the name, in any case")
            ->type_name("TEXT");
        AddFilters(*verb, options->filters);
        AddPage(*verb, *options, group.sorts, group.noun.many);
        verb->callback([options, &group, &action] {
            action = [options, &group] { return List(group, *options); };
        });
    }
}

}  // namespace tonvale_cli
