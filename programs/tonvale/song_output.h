// A page of songs on the standard output.
#pragma once

#include <cstdint>
#include <string>

#include "varn/mediaindex.h"

namespace tonvale_cli {

// Reads the rows of a query to its end and prints a table of them, and a line that tells which of
// the `total` they are.
void PrintTable(MEDIA_DB_HANDLE *rows, int offset, int64_t total);

// Minutes and seconds; "" for a length that is not known.
std::string LengthText(float seconds);

}  // namespace tonvale_cli
