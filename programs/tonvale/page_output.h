// What the pages of all lists look like.
#pragma once

#include <json/writer.h>

#include <cstdint>
#include <memory>

#include "display.h"

namespace tonvale_cli {

// A noun, for one and for several.
struct Noun {
    const char *one;
    const char *many;
};

// Prints a table of `shown` rows, and a line that tells which of the `total` they are.
void PrintPage(const Table &table, int offset, int64_t shown, int64_t total, const Noun &noun);

// Writes values on one line, in UTF-8.
std::unique_ptr<Json::StreamWriter> JsonWriter();

}  // namespace tonvale_cli
