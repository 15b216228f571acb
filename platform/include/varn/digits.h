// Texts of decimal digits.
#pragma once

#include <string_view>

namespace varn {

// False for an empty text.
inline bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

}  // namespace varn
