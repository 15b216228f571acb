// The Range header field of a request.
#pragma once

#include <cstdint>
#include <string_view>

#include "varn/export.h"

namespace varn {

enum class RangeKind {
    kIgnored,  // not understood, or several ranges: the answer is whole
    kPart,
    kOutside  // not satisfiable: 416
};

struct Range {
    RangeKind kind;
    int64_t first;  // of a part, 0 <= first <= last < total
    int64_t last;
};

// What a field value (RFC 9110, 14.1) asks for of `total` bytes. With a `total` of 0 or less it is
// ignored.
VARN_EXPORT Range ReadRange(std::string_view field, int64_t total);

}  // namespace varn
