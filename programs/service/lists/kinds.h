// Which parts of the library a user may see.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tonvale_service {

// The kinds (tonvale/library.h), in the order in which they are documented.
const std::vector<std::string> &AllKinds();

// Those that a user may browse.
std::vector<std::string> BrowsableKinds(uid_t uid);

// The kind that a user's preferences choose.
std::string DefaultKind(uid_t uid);

// What a kind means for a user, "" being the default. Throws a Failure for a kind that does not
// exist, and for one that the user may not browse.
std::string ChosenKind(const std::string &asked, uid_t uid);

}  // namespace tonvale_service
