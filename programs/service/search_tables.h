// The tables that searches read.
#pragma once

#include <string>

#include "list.h"
#include "tables.h"

namespace tonvale_service {

// True for the songs `s` that a request's library, user and filters let through.
std::string SeenSongs(const ListRequest &request);

// The end of a statement; limit 0: all.
std::string Paged(int offset, int limit);

}  // namespace tonvale_service
