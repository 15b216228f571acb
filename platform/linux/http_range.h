// The Range header field of a request.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varn {

struct ByteRange {
    int64_t first;
    int64_t last;
};

// The one satisfiable range of bytes that a field value (RFC 9110, 14.1) names of `total` bytes.
// Empty for anything else.
std::optional<ByteRange> ParseRange(std::string_view field, int64_t total);

}  // namespace varn
