// What the lists of the library have in common: whose library, which tracks, which page.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tonvale/library.h"

namespace tonvale_service {

// Which tracks: those with all of these. An empty text asks for tracks without that tag.
struct Filters {
    std::optional<std::string> artist;  // or album artist, in any case
    std::optional<std::string> album;
    std::optional<std::string> albumArtist;
    std::optional<std::string> genre;  // one of the track's
    std::optional<std::string> composer;
    std::optional<std::string> title;  // a part of it, in any case
};

struct ListRequest {
    std::string library;  // a kind that the user may browse (ChosenKind)
    uid_t uid = 0;
    Filters filters;
    std::string sortBy;  // "": the first of the list's keys
    bool descending = false;
    int offset = 0;
    int limit = 0;                 // 0: all
    bool tellsFavourites = false;  // of groups: which are the user's favourites
};

// The condition of all filters together, "" for none. Throws a Failure when one of them is too long
// or not UTF-8.
std::string Condition(const Filters &filters);

// A text that may be looked for within others. Throws a Failure for one that is too long.
const std::string &Needle(const std::string &text);

// Adds a condition to others, with AND. Throws a Failure for one that could not be made because its
// text is not UTF-8.
void AddCondition(std::string &condition, const std::optional<std::string> &part);

// A name that may be sorted by, and the SQL for it. Nothing else becomes an order.
struct SortColumn {
    const char *name;
    const char *column;
    bool isText = false;  // by the rules of the collation rather than by bytes
};

// The expression to order by. The system's code page may switch the collation off.
std::string Expression(const SortColumn &sort);

std::vector<std::string> Names(std::span<const SortColumn> columns);

// The row of a request's key. Throws a Failure for a name that is in none.
const SortColumn &ChosenColumn(const ListRequest &request, std::span<const SortColumn> columns);

// The direction as it stands after a column.
const char *Direction(const ListRequest &request);

// A field of a row, "" for NULL.
std::string FieldOf(const Tonvale::MediaHandle &rows, int row, const char *column);
int64_t NumberOf(const Tonvale::MediaHandle &rows, int row, const char *column);

// Throws the Failure of a list that could not be read; the log has the reasons.
[[noreturn]] void NoAnswer();

}  // namespace tonvale_service
