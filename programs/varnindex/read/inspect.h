// Shows what the indexer reads from one file.
#pragma once

#include <string>

namespace varnindex {

// Prints "key: value" lines on standard output, or a line "skipped: REASON" for a file that is not
// taken into the library. Changes nothing and needs no database. Returns the exit status of the
// program, EXIT_FAILURE for a skipped file.
int Inspect(const std::string &path);

}  // namespace varnindex
