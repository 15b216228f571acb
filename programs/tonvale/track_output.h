// Track objects of the web API on the standard output.
#pragma once

#include <sys/types.h>
#include "verb.h"

#include <string>
#include <vector>

#include "service/lists/tracks.h"

namespace tonvale_cli {

// What track objects are to hold beside the usual (AdditionNames).
using Additions = std::vector<std::string>;

// Adds --additional, a list separated by commas.
Option AddAdditions(const Verb &verb, Additions &additions);

// What writes a user's track objects.
tonvale_service::TrackWriter TrackWriter(uid_t uid, const std::string &user,
                                         const Additions &additions);

}  // namespace tonvale_cli
