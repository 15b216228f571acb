#include "library_options.h"

#include <vector>

#include "answers/kinds.h"
#include "command.h"
#include "database.h"
#include "number.h"
#include "user.h"
#include "varn/sql.h"

namespace tonvale_cli {

void AddLibrary(CLI::App &verb, LibraryOptions &options) {
    verb.add_option("--library", options.library, "Which part of the library")
        ->check(CLI::IsMember(tonvale_answers::AllKinds()))
        ->type_name("")
        ->capture_default_str();
    verb.add_option("--user", options.user, "Whose library")
        ->type_name("NAME")
        ->capture_default_str();
}

void AddFilters(CLI::App &verb, Filters &filters) {
    struct Filter {
        const char *name;
        std::optional<std::string> &value;
        const char *description;
    };
    for (const Filter &filter :
         {Filter{"--artist", filters.artist, "Artist or album artist, in any case"},
          Filter{"--album", filters.album, "Album, exactly"},
          Filter{"--album-artist", filters.albumArtist, "Album artist, exactly"},
          Filter{"--genre", filters.genre, "One of the track's genres, exactly"},
          Filter{"--composer", filters.composer, "Composer, exactly"},
          Filter{"--title", filters.title, "A part of the title, in any case"}}) {
        verb.add_option(filter.name, filter.value, filter.description)->type_name("TEXT");
    }
}

void AddPage(CLI::App &verb, LibraryOptions &options, std::span<const SortColumn> columns,
             const std::string &noun, const char *more) {
    std::vector<std::string> names;
    for (const SortColumn &column : columns) {
        names.emplace_back(column.name);
    }
    options.sortBy = names.front();
    if (more != nullptr) {
        names.emplace_back(more);
    }
    verb.add_option("--sort-by", options.sortBy, "The order")
        ->check(CLI::IsMember(names))
        ->type_name("")
        ->capture_default_str();
    verb.add_option("--sort-direction", options.sortDirection, "Up or down")
        ->check(CLI::IsMember({"asc", "desc"}))
        ->type_name("")
        ->capture_default_str();
    AddNumber(verb, "--offset", options.offset, 0, "How many " + noun + " to pass over");
    AddNumber(verb, "--limit", options.limit, 0, "How many " + noun + " to list; 0: all");
    verb.add_flag("--json", options.json, "Print JSON instead of a table");
}

std::optional<uid_t> ResolveUser(LibraryOptions &options) {
    const std::optional<uid_t> uid = FindUser(options.user);
    // The count looks at the kind that this gives; the page must show the same.
    if (uid && NormalizeLibraryKind(options.library.c_str(), *uid, options.library) != 0) {
        Complain("the user '" + options.user + "' has no personal library; the libraries are " +
                 "all, shared, actual, actual_shared, virtual, virtual_shared");
        return std::nullopt;
    }
    return uid;
}

std::optional<uid_t> OpenLibrary(LibraryOptions &options, int &status) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        status = kFailed;
        return std::nullopt;
    }
    const std::optional<uid_t> uid = ResolveUser(options);
    if (!uid) {
        status = kUsage;
        return std::nullopt;
    }
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        status = kFailed;
        return std::nullopt;
    }
    return uid;
}

bool AddCondition(std::string &condition, const std::optional<std::string> &part) {
    if (part) {
        condition += (condition.empty() ? "" : " AND ") + *part;
    }
    return part.has_value();
}

std::optional<std::string> Condition(const Filters &filters) {
    using varn::Sql;
    std::vector<std::optional<std::string>> parts;
    if (filters.artist) {
        parts.push_back(
            Sql("(artist_search = UPPER('@VARN:VAR') OR "
                "album_artist_search = UPPER('@VARN:VAR'))",
                *filters.artist, *filters.artist));
    }
    if (filters.album) {
        parts.push_back(Sql("album = '@VARN:VAR'", *filters.album));
    }
    if (filters.albumArtist) {
        parts.push_back(Sql("album_artist = '@VARN:VAR'", *filters.albumArtist));
    }
    if (filters.genre) {
        parts.push_back(Sql("genre = '@VARN:VAR'", *filters.genre));
    }
    if (filters.composer) {
        parts.push_back(Sql("composer = '@VARN:VAR'", *filters.composer));
    }
    if (filters.title) {
        parts.push_back(Sql("title ILIKE '%%@VARN:LVAR%%'", *filters.title));
    }
    std::string condition;
    for (const std::optional<std::string> &part : parts) {
        if (!AddCondition(condition, part)) {
            Complain("a filter's text must be UTF-8");
            return std::nullopt;
        }
    }
    return condition;
}

std::string PrimaryOrder(const LibraryOptions &options, std::span<const SortColumn> columns) {
    std::string primary;
    for (const SortColumn &column : columns) {
        if (options.sortBy == column.name) {
            primary = column.expression;
        }
    }
    return options.sortDirection == "desc" ? primary + " DESC" : primary;
}

int NoAnswer() {
    Complain("the library did not answer; the lines above tell why");
    return kFailed;
}

}  // namespace tonvale_cli
