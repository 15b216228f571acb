// The verbs that list tracks: songs, and search.
#include <array>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "library_options.h"
#include "song_output.h"
#include "tonvale/library.h"
#include "track_output.h"
#include "varn/mediaindex.h"
#include "varn/sql.h"

namespace tonvale_cli {

namespace {

constexpr char kColumns[] =
    "id, path, title, artist, album, album_artist, composer, genre, year, track, disc, duration, "
    "bitrate, frequency, channel, filesize, container, codec, comment";

constexpr char kRandom[] = "random";

constexpr SortColumn kSortColumns[] = {
    {"title", BY_NAME("title")},
    {"artist", BY_NAME("artist")},
    {"album", BY_NAME("album")},
    {"album_artist", BY_NAME("album_artist")},
    {"composer", BY_NAME("composer")},
    {"genre", BY_NAME("genre")},
    {"year", "year"},
    {"track", "track"},
    {"disc", "disc"},
    {"path", "path"},
    {"duration", "duration"},
    {"bitrate", "bitrate"},
    {"date", "date"},
};

struct SongsOptions : LibraryOptions {
    Additions additions;
};

struct SearchOptions : LibraryOptions {
    std::string keyword;
    std::string in = "all";
};

// Where a keyword may be looked for.
struct Field {
    const char *name;
    std::optional<std::string> (*condition)(const std::string &keyword);
};
#define CONTAINS(column) column " ILIKE '%%@VARN:LVAR%%'"
constexpr Field kFields[] = {
    {"all",
     [](const std::string &keyword) {
         return varn::Sql("(" CONTAINS("title") " OR " CONTAINS("artist") " OR " CONTAINS("album")
                          " OR " CONTAINS("album_artist") " OR " CONTAINS("composer") " OR "
                          CONTAINS("genre") ")",
                          keyword, keyword, keyword, keyword, keyword, keyword);
     }},
    {"title", [](const std::string &keyword) { return varn::Sql(CONTAINS("title"), keyword); }},
    {"artist", [](const std::string &keyword) { return varn::Sql(CONTAINS("artist"), keyword); }},
    {"album", [](const std::string &keyword) { return varn::Sql(CONTAINS("album"), keyword); }},
    {"album_artist",
     [](const std::string &keyword) { return varn::Sql(CONTAINS("album_artist"), keyword); }},
    {"composer",
     [](const std::string &keyword) { return varn::Sql(CONTAINS("composer"), keyword); }},
    {"genre", [](const std::string &keyword) { return varn::Sql(CONTAINS("genre"), keyword); }},
};
#undef CONTAINS

std::string Order(const LibraryOptions &options) {
    if (options.sortBy == kRandom) {
        return "RANDOM()";
    }
    std::array<char, 1024> order{};
    GenerateOrderString(PrimaryOrder(options, kSortColumns).c_str(), order.data(), order.size());
    return order.data();
}

// A random sample is drawn from the whole library, without regard to a condition, and anew each
// time.
bool AsksTooMuchOfRandom(const LibraryOptions &options, const std::string &condition) {
    return options.sortBy == kRandom &&
           (!condition.empty() || options.offset > 0 || options.limit == 0);
}

// With `additions` the page is one of track objects.
int PrintPage(LibraryOptions &options, const std::string &condition,
              const Additions *additions = nullptr) {
    int status = kDone;
    const std::optional<uid_t> uid = OpenLibrary(options, status);
    if (!uid) {
        return status;
    }
    const char *library = options.library.c_str();
    // Two statements: a total within the page's own would read the whole library for every page.
    const int64_t total =
        AudioInfoDBGetCount(library, *uid, VARN_TABLE_MUSIC, "*", condition.c_str(), nullptr, 0);
    const Handle rows(total < 0
                          ? nullptr
                          : AudioInfoDBOpen(library, *uid, VARN_TABLE_MUSIC,
                                            additions != nullptr ? "*" : kColumns,
                                            condition.c_str(), nullptr, Order(options).c_str(),
                                            options.offset, options.limit, 0));
    if (!rows) {
        return NoAnswer();
    }
    if (additions != nullptr) {
        const Tonvale::webapi::WebapiLibrary writer = TrackWriter(*uid, options.user, *additions);
        return PrintTracks(rows.get(), writer, options.offset, total) ? kDone : NoAnswer();
    }
    if (options.json) {
        PrintJson(rows.get(), options.offset, total);
    } else {
        PrintTable(rows.get(), options.offset, total);
    }
    return kDone;
}

int Songs(SongsOptions &options) {
    const std::optional<std::string> condition = Condition(options.filters);
    if (!condition) {
        return kUsage;
    }
    if (AsksTooMuchOfRandom(options, *condition)) {
        Complain(
            "--sort-by random draws from a whole library: it takes no filter and no --offset, "
            "and a --limit of 1 or more");
        return kUsage;
    }
    return PrintPage(options, *condition, options.additions.empty() ? nullptr : &options.additions);
}

int Search(SearchOptions &options) {
    std::optional<std::string> condition = Condition(options.filters);
    if (!condition) {
        return kUsage;
    }
    for (const Field &field : kFields) {
        if (options.in == field.name &&
            !AddCondition(*condition, field.condition(options.keyword))) {
            Complain("the keyword must be UTF-8");
            return kUsage;
        }
    }
    return PrintPage(options, *condition);
}

}  // namespace

void AddSongs(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("songs", "List the library's tracks, a page at a time");
    const auto options = std::make_shared<SongsOptions>();
    AddLibrary(*verb, *options);
    AddFilters(*verb, options->filters);
    AddPage(*verb, *options, kSortColumns, "tracks", kRandom);
    AddAdditions(*verb, options->additions)->needs("--json");
    verb->callback([options, &action] { action = [options] { return Songs(*options); }; });
}

void AddSearch(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("search", "List the tracks that have a text in their tags");
    const auto options = std::make_shared<SearchOptions>();
    std::vector<std::string> fields;
    for (const Field &field : kFields) {
        fields.emplace_back(field.name);
    }
    verb->add_option("keyword", options->keyword, "The text, in any case, anywhere in a tag")
        ->required()
        ->type_name("TEXT")
        ->check([](const std::string &text) { return text.empty() ? "it is empty" : ""; });
    verb->add_option("--in", options->in, "The tag to look at")
        ->check(CLI::IsMember(fields))
        ->type_name("")
        ->capture_default_str();
    AddLibrary(*verb, *options);
    AddFilters(*verb, options->filters);
    AddPage(*verb, *options, kSortColumns, "tracks");
    verb->callback([options, &action] { action = [options] { return Search(*options); }; });
}

}  // namespace tonvale_cli
