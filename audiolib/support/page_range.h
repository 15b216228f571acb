// Pages of lists that are in memory.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Tonvale::support {

// Positions in a list, the end not included.
struct PageRange {
    std::int64_t begin;
    std::int64_t end;
};

// The page from an offset on; limit 0 means to the end of the list, below 0 none. What lies before
// the list is passed over.
inline PageRange RangeOfPage(int offset, int limit, int count) {
    const std::int64_t begin = std::max(offset, 0);
    const std::int64_t end = limit != 0 ? std::int64_t{offset} + limit : count;
    return {begin, std::max(begin, std::min<std::int64_t>(end, count))};
}

}  // namespace Tonvale::support
