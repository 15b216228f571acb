// Numbers in texts, with a point in every locale.
#pragma once

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace varn {

// True for decimal digits alone, one or more.
inline bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// The value of decimal digits alone; none for anything else, and for what the type does not hold.
template <typename Number>
std::optional<Number> WholeNumber(std::string_view text) {
    Number number{};
    const bool isHeld =
        std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
    return isHeld && IsNumber(text) ? std::optional(number) : std::nullopt;
}

// Takes the number that a text begins with off its front, past blanks; 0, and the text stays, where
// there is none.
template <typename Number>
Number TakeNumber(std::string_view &text) {
    const std::size_t blanks = std::min(text.find_first_not_of(" \t\r"), text.size());
    Number number{};
    const auto [end, error] =
        std::from_chars(text.data() + blanks, text.data() + text.size(), number);
    if (error == std::errc()) {
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return number;
}

// The same for a text that is not needed any more.
template <typename Number>
Number LeadingNumber(std::string_view text) {
    return TakeNumber<Number>(text);
}

}  // namespace varn
