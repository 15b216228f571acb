// The accounts that a verb works for.
#pragma once

#include <string>

namespace tonvale_cli {

// The names of the root's accounts, for a message; "" for a real installation's, which may be too
// many to list.
std::string KnownUsers();

}  // namespace tonvale_cli
