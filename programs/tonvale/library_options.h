// What the verbs that list the library have in common: whose library, which tracks, which page.
#pragma once

#include <sys/types.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tonvale/library.h"

namespace tonvale_cli {

struct HandleCloser {
    void operator()(MEDIA_DB_HANDLE *handle) const noexcept { AudioInfoDBClose(handle); }
};
using Handle = std::unique_ptr<MEDIA_DB_HANDLE, HandleCloser>;

// A name that may be sorted by, and the SQL for it. Nothing else becomes an order.
struct SortColumn {
    const char *name;
    const char *expression;
};

// The order by sort names, which have no leading articles, and by the rules of the collation rather
// than by bytes.
#define BY_NAME(column) column "_sort COLLATE \"en_US_varnel\""

// Which tracks: those with all of these.
struct Filters {
    std::optional<std::string> artist;
    std::optional<std::string> album;
    std::optional<std::string> albumArtist;
    std::optional<std::string> genre;
    std::optional<std::string> composer;
    std::optional<std::string> title;
};

struct LibraryOptions {
    std::string library = "all";
    std::string user = "admin";
    Filters filters;
    std::string sortBy;
    std::string sortDirection = "asc";
    int offset = 0;
    int limit = 100;
    bool json = false;
};

// --user and --library.
void AddLibrary(CLI::App &verb, LibraryOptions &options);
void AddFilters(CLI::App &verb, Filters &filters);
// --sort-by, whose names are those of `columns` and `more`, the first being the default, and
// --sort-direction, --offset, --limit and --json.
void AddPage(CLI::App &verb, LibraryOptions &options, std::span<const SortColumn> columns,
             const std::string &noun, const char *more = nullptr);

// The user's id, the library kind being replaced by what it means for this user. Empty, with a
// message, for a user or a library that does not exist.
std::optional<uid_t> ResolveUser(LibraryOptions &options);

// Does that when the root is prepared, and starts the database. Empty, with a message and the exit
// status set.
std::optional<uid_t> OpenLibrary(LibraryOptions &options, int &status);

// Adds a condition to others, with AND; false when it could not be made because its text is not
// UTF-8.
bool AddCondition(std::string &condition, const std::optional<std::string> &part);

// The condition of all filters together, "" for none. Empty, with a message, when one of them is
// not UTF-8.
std::optional<std::string> Condition(const Filters &filters);

// The expression and direction that --sort-by and --sort-direction name; "" for a name that is in
// no row of the table.
std::string PrimaryOrder(const LibraryOptions &options, std::span<const SortColumn> columns);

// For a list that did not come, the reasons being logged.
int NoAnswer();

}  // namespace tonvale_cli
