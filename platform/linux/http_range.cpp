#include "varn/http_range.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>

#include "linux/error.h"
#include "linux/memory.h"
#include "varn/number.h"
#include "varn/webapi.h"

namespace varn {

namespace {

constexpr std::string_view kUnit = "bytes=";
constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();

std::string_view WithoutBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// A number in decimal digits, the largest there is where it is too large. Empty for anything else.
std::optional<int64_t> Position(std::string_view digits) {
    if (!varn::IsNumber(digits)) {
        return std::nullopt;
    }
    int64_t number = 0;
    for (const char digit : digits) {
        if (__builtin_mul_overflow(number, 10, &number) ||
            __builtin_add_overflow(number, digit - '0', &number)) {
            return kHuge;
        }
    }
    return number;
}

// The only element of a list that may have empty ones (RFC 9110, 5.6.1.2); "" for none or several.
std::string_view OnlyElement(std::string_view list) {
    std::string_view only;
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        const std::string_view element = WithoutBlanks(list.substr(0, comma));
        list.remove_prefix(std::min(comma + 1, list.size()));
        if (element.empty()) {
            continue;
        }
        if (!only.empty()) {
            return "";
        }
        only = element;
    }
    return only;
}

constexpr Range kIgnoredRange = {RangeKind::kIgnored, 0, 0};
constexpr Range kOutsideRange = {RangeKind::kOutside, 0, 0};

}  // namespace

Range ReadRange(std::string_view field, int64_t total) {
    if (total <= 0 || field.size() < kUnit.size() ||
        strncasecmp(field.data(), kUnit.data(), kUnit.size()) != 0) {
        return kIgnoredRange;
    }
    const std::string_view range = OnlyElement(field.substr(kUnit.size()));
    const std::size_t dash = range.find('-');
    if (dash == range.npos) {
        return kIgnoredRange;
    }
    const std::string_view lastDigits = range.substr(dash + 1);
    const auto first = Position(range.substr(0, dash));
    const auto last = Position(lastDigits);
    if (dash == 0) {
        if (!last) {
            return kIgnoredRange;
        }
        return *last > 0 ? Range{RangeKind::kPart, total - std::min(*last, total), total - 1}
                         : kOutsideRange;
    }
    if (!first || (!last && !lastDigits.empty()) || (last && *last < *first)) {
        return kIgnoredRange;
    }
    return *first < total
               ? Range{RangeKind::kPart, *first, std::min(last.value_or(kHuge), total - 1)}
               : kOutsideRange;
}

}  // namespace varn

int HTTPFileOutputer::SeekHttpRange(_tag_HTTP_RANGE_SEGMENT **segment, long long total) {
    if (segment == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return 0;
    }
    *segment = nullptr;
    const char *const field = std::getenv("HTTP_RANGE");
    const char *const method = std::getenv("REQUEST_METHOD");
    if (field == nullptr || std::getenv("HTTP_IF_RANGE") != nullptr ||
        (method != nullptr && std::strcmp(method, "GET") != 0)) {
        return 0;
    }
    const varn::Range range = varn::ReadRange(field, total);
    if (range.kind != varn::RangeKind::kPart) {
        return 0;
    }
    *segment = static_cast<_tag_HTTP_RANGE_SEGMENT *>(std::malloc(sizeof **segment));
    if (*segment == nullptr) {
        varn::SetError(VLIB_ERR_OUT_OF_MEMORY);
        return 0;
    }
    **segment = {range.first, range.last};
    return 1;
}
