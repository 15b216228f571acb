// What stands after FROM in a query on the library.
#pragma once

#include <sys/types.h>

#include <array>
#include <string>
#include <string_view>

#include "tonvale/library.h"

namespace Tonvale::musiclib {

using JoinFlags = std::array<int, VARN_JOIN_TABLES>;

// Which rows a query reads: those of a library kind, for a user, of a table type.
struct Source {
    const char *library;
    uid_t uid;
    int tableType;
};

enum class GenreRows { kJoined, kOnePerGenre };

struct TableText {
    std::string table;  // the view or table
    std::string where;  // the track view's own filter; "" for playlists and folders
};

// Builds both texts. False, with a log line, for a bad source; `out` is then unchanged.
bool BuildTable(const Source &source, const int *joinFlags, GenreRows genres, TableText &out);

// The track view round a filter.
std::string TrackView(const int *joinFlags, uid_t uid, std::string_view where, GenreRows genres);

}  // namespace Tonvale::musiclib
