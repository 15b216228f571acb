// The tables that searches read.
#pragma once

#include <functional>
#include <string>

#include "list.h"
#include "varn/database.h"

namespace tonvale_service {

// Runs statements on a connection of their own. Throws a Failure where the database refuses one.
void AskTables(const std::function<void(varn::Database &)> &ask);

// True for the songs `s` that a request's library, user and filters let through.
std::string SeenSongs(const ListRequest &request);

// The end of a statement; limit 0: all.
std::string Paged(int offset, int limit);

}  // namespace tonvale_service
