// Songs as they are named on the command line.
#pragma once

#include <string>
#include <vector>

namespace tonvale_cli {

// The identifiers that a name may stand for: the number that lists show is that of a file or of a
// track. Any other text stands for itself.
std::vector<std::string> SongIds(const std::string &name);

}  // namespace tonvale_cli
