// Removes playlist rows by their ids.
#pragma once

#include <optional>
#include <string_view>

#include "varnindex/database.h"

namespace varnindex {

// The number of a row's id: decimal digits only, 1 to 2147483647.
std::optional<int> ParseRowId(std::string_view text);

// Removes the shared or personal playlist row of that id; false when there is none. Throws
// DatabaseError.
bool RemovePlaylist(Database &database, int id);

}  // namespace varnindex
