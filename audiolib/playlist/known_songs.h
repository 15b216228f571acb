// Which songs the library has, whether or not somebody browses them.
#pragma once

#include <optional>
#include <string>
#include <unordered_set>

#include "varn/base.h"

namespace Tonvale::playlist {

// Those of some paths and virtual names that are songs of the library: anybody's, tracks of split
// files and these files themselves, too. Empty, with a log line, when the library does not answer.
std::optional<std::unordered_set<std::string>> KnownSongs(const VLIBSZLIST *names);

}  // namespace Tonvale::playlist
