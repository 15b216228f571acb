// Any bytes as a Range field: an accepted range lies inside of the answer.
#include <cstdint>
#include <string_view>

#include "require.h"
#include "varn/http_range.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view field(reinterpret_cast<const char *>(data), size);
    for (const int64_t total : {INT64_MIN, int64_t{-1}, int64_t{0}, int64_t{1}, int64_t{100},
                                int64_t{1} << 40, INT64_MAX}) {
        const varn::Range range = varn::ReadRange(field, total);
        Require(range.kind != varn::RangeKind::kPart ||
                    (0 <= range.first && range.first <= range.last && range.last < total),
                "a range lies inside of its answer");
    }
    return 0;
}
