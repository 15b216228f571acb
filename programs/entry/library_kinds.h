// Which parts of the library a user may see.
#pragma once

#include <string>
#include <vector>

#include "request.h"

namespace tonvale_entry {

// The kinds (tonvale/library.h) that a user may browse, in the order in which they are documented.
std::vector<std::string> BrowsableKinds(const Request &request);

// The kind that a user's preferences choose.
std::string DefaultKind(const Request &request);

// The parameter "library", or the default, as the kind that it means for the user. Throws a Refusal
// for a kind that does not exist, and for one that the user may not browse.
std::string ChosenKind(const Request &request);

}  // namespace tonvale_entry
