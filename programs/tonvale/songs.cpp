#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "number.h"
#include "song_output.h"
#include "tonvale/library.h"
#include "user.h"
#include "varn/mediaindex.h"
#include "varn/sql.h"

namespace tonvale_cli {

namespace {

const std::vector<std::string> kLibraries = {"all",     "personal",         "shared",
                                             "actual",  "actual_personal",  "actual_shared",
                                             "virtual", "virtual_personal", "virtual_shared"};

constexpr char kColumns[] =
    "id, path, title, artist, album, album_artist, composer, genre, year, track, disc, duration, "
    "bitrate, frequency, channel, filesize, container, codec, comment";

constexpr char kRandom[] = "random";

// Texts are ordered by the form made for it, without leading articles, and by the rules of the
// collation rather than by bytes.
struct SortColumn {
    const char *name;
    const char *expression;
};
constexpr SortColumn kSortColumns[] = {
    {"title", "title_sort COLLATE \"en_US_varnel\""},
    {"artist", "artist_sort COLLATE \"en_US_varnel\""},
    {"album", "album_sort COLLATE \"en_US_varnel\""},
    {"album_artist", "album_artist_sort COLLATE \"en_US_varnel\""},
    {"composer", "composer_sort COLLATE \"en_US_varnel\""},
    {"genre", "genre_sort COLLATE \"en_US_varnel\""},
    {"year", "year"},
    {"track", "track"},
    {"disc", "disc"},
    {"path", "path"},
    {"duration", "duration"},
    {"bitrate", "bitrate"},
    {"date", "date"},
};

struct SongsOptions {
    std::string library = "all";
    std::string user = "admin";
    std::optional<std::string> artist;
    std::optional<std::string> album;
    std::optional<std::string> albumArtist;
    std::optional<std::string> genre;
    std::optional<std::string> composer;
    std::optional<std::string> title;
    std::string sortBy = "title";
    std::string sortDirection = "asc";
    int offset = 0;
    int limit = 100;
    bool json = false;
};

struct HandleCloser {
    void operator()(MEDIA_DB_HANDLE *handle) const noexcept { AudioInfoDBClose(handle); }
};
using Handle = std::unique_ptr<MEDIA_DB_HANDLE, HandleCloser>;

std::vector<std::string> SortNames() {
    std::vector<std::string> names;
    for (const SortColumn &column : kSortColumns) {
        names.emplace_back(column.name);
    }
    names.emplace_back(kRandom);
    return names;
}

// The user's id. Empty, with a message, for a user or a library that does not exist.
std::optional<uid_t> ResolveUser(SongsOptions &options) {
    const std::optional<uid_t> uid = FindUser(options.user);
    // The count looks at the kind that this gives; the page must show the same.
    if (uid && NormalizeLibraryKind(options.library.c_str(), *uid, options.library) != 0) {
        Complain("the user '" + options.user + "' has no personal library; the libraries are " +
                 "all, shared, actual, actual_shared, virtual, virtual_shared");
        return std::nullopt;
    }
    return uid;
}

// The condition of all filters together. Empty when one of them is not UTF-8.
std::optional<std::string> Condition(const SongsOptions &options) {
    using varn::Sql;
    std::vector<std::optional<std::string>> parts;
    if (options.artist) {
        parts.push_back(
            Sql("(artist_search = UPPER('@VARN:VAR') OR "
                "album_artist_search = UPPER('@VARN:VAR'))",
                *options.artist, *options.artist));
    }
    if (options.album) {
        parts.push_back(Sql("album = '@VARN:VAR'", *options.album));
    }
    if (options.albumArtist) {
        parts.push_back(Sql("album_artist = '@VARN:VAR'", *options.albumArtist));
    }
    if (options.genre) {
        parts.push_back(Sql("genre = '@VARN:VAR'", *options.genre));
    }
    if (options.composer) {
        parts.push_back(Sql("composer = '@VARN:VAR'", *options.composer));
    }
    if (options.title) {
        parts.push_back(Sql("title ILIKE '%%@VARN:LVAR%%'", *options.title));
    }
    std::string condition;
    for (const std::optional<std::string> &part : parts) {
        if (!part) {
            return std::nullopt;
        }
        condition += (condition.empty() ? "" : " AND ") + *part;
    }
    return condition;
}

std::string Order(const SongsOptions &options) {
    if (options.sortBy == kRandom) {
        return "RANDOM()";
    }
    std::string primary;
    for (const SortColumn &column : kSortColumns) {
        if (options.sortBy == column.name) {
            primary = column.expression;
        }
    }
    if (options.sortDirection == "desc") {
        primary += " DESC";
    }
    std::array<char, 1024> order{};
    GenerateOrderString(primary.c_str(), order.data(), order.size());
    return order.data();
}

// A random sample is drawn from the whole library, without regard to a condition, and anew each
// time.
bool AsksTooMuchOfRandom(const SongsOptions &options, const std::string &condition) {
    return options.sortBy == kRandom &&
           (!condition.empty() || options.offset > 0 || options.limit == 0);
}

int PrintPage(const SongsOptions &options, uid_t uid, const std::string &condition) {
    const char *library = options.library.c_str();
    // Two statements: a total within the page's own would read the whole library for every page.
    const int64_t total =
        AudioInfoDBGetCount(library, uid, VARN_TABLE_MUSIC, "*", condition.c_str(), nullptr, 0);
    const Handle rows(total < 0
                          ? nullptr
                          : AudioInfoDBOpen(library, uid, VARN_TABLE_MUSIC, kColumns,
                                            condition.c_str(), nullptr, Order(options).c_str(),
                                            options.offset, options.limit, 0));
    if (!rows) {
        Complain("the library did not answer; the lines above tell why");
        return kFailed;
    }
    if (options.json) {
        PrintJson(rows.get(), options.offset, total);
    } else {
        PrintTable(rows.get(), options.offset, total);
    }
    return kDone;
}

int Songs(SongsOptions &options) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    const std::optional<uid_t> uid = ResolveUser(options);
    if (!uid) {
        return kUsage;
    }
    const std::optional<std::string> condition = Condition(options);
    if (!condition) {
        Complain("a filter's text must be UTF-8");
        return kUsage;
    }
    if (AsksTooMuchOfRandom(options, *condition)) {
        Complain(
            "--sort-by random draws from a whole library: it takes no filter and no --offset, "
            "and a --limit of 1 or more");
        return kUsage;
    }
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    return PrintPage(options, *uid, *condition);
}

void AddFilters(CLI::App &verb, SongsOptions &options) {
    struct Filter {
        const char *name;
        std::optional<std::string> &value;
        const char *description;
    };
    for (const Filter &filter :
         {Filter{"--artist", options.artist, "Artist or album artist, in any case"},
          Filter{"--album", options.album, "Album, exactly"},
          Filter{"--album-artist", options.albumArtist, "Album artist, exactly"},
          Filter{"--genre", options.genre, "One of the track's genres, exactly"},
          Filter{"--composer", options.composer, "Composer, exactly"},
          Filter{"--title", options.title, "A part of the title, in any case"}}) {
        verb.add_option(filter.name, filter.value, filter.description)->type_name("TEXT");
    }
}

}  // namespace

void AddSongs(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("songs", "List the library's tracks, a page at a time");
    const auto options = std::make_shared<SongsOptions>();
    verb->add_option("--library", options->library, "Which part of the library")
        ->check(CLI::IsMember(kLibraries))
        ->type_name("")
        ->capture_default_str();
    verb->add_option("--user", options->user, "Whose library")
        ->type_name("NAME")
        ->capture_default_str();
    AddFilters(*verb, *options);
    verb->add_option("--sort-by", options->sortBy, "The order")
        ->check(CLI::IsMember(SortNames()))
        ->type_name("")
        ->capture_default_str();
    verb->add_option("--sort-direction", options->sortDirection, "Up or down")
        ->check(CLI::IsMember({"asc", "desc"}))
        ->type_name("")
        ->capture_default_str();
    AddNumber(*verb, "--offset", options->offset, 0, "How many tracks to pass over");
    AddNumber(*verb, "--limit", options->limit, 0, "How many tracks to list; 0: all");
    verb->add_flag("--json", options->json, "Print JSON instead of a table");
    verb->callback([options, &action] { action = [options] { return Songs(*options); }; });
}

}  // namespace tonvale_cli
