// What the pages of all lists look like.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "display.h"
#include "service/base/page.h"

namespace tonvale_cli {

// A noun, for one and for several.
struct Noun {
    const char *one;
    const char *many;
};

// Prints a table of `shown` rows, and a line that tells which of the `total` they are.
void PrintPage(const Table &table, int offset, int64_t shown, int64_t total, const Noun &noun);

// Prints a data object, or any value, on one line in UTF-8.
void PrintJson(tonvale_service::Page &page);
void PrintJson(const Json::Value &json);

}  // namespace tonvale_cli
