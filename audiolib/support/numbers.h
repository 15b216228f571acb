// Numbers that do not fit where they are going.
#pragma once

#include <climits>
#include <cmath>
#include <cstdlib>
#include <string>

namespace Tonvale::support {

// The whole seconds of a length, toward zero. What is no number, or no int, becomes the nearest.
inline int WholeSeconds(float seconds) {
    if (std::isnan(seconds)) {
        return 0;
    }
    constexpr auto kLimit = 2147483648.0F;
    if (seconds >= kLimit || seconds <= -kLimit) {
        return seconds > 0 ? INT_MAX : INT_MIN;
    }
    return static_cast<int>(seconds);
}

// The decimal number that a text begins with; 0, which is no row's id, when there is none or it is
// no int.
inline int LeadingInt(const std::string &text) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return number >= INT_MIN && number <= INT_MAX ? static_cast<int>(number) : 0;
}

}  // namespace Tonvale::support
