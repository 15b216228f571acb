// Rows as the text that COPY reads.
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace varnindex {

inline void AppendValue(std::string &out, std::string_view text) {
    for (const char c : text) {
        if (c == '\\' || c == '\t' || c == '\n' || c == '\r') {
            out += '\\';
        }
        out += c;
    }
}

template <typename Number>
requires std::integral<Number> || std::floating_point<Number>
void AppendValue(std::string &out, Number number) {
    if constexpr (std::same_as<Number, bool>) {
        out += number ? 't' : 'f';
    } else {
        std::array<char, 32> digits;
        out.append(digits.data(),
                   std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
    }
}

// None is NULL.
template <typename Value>
void AppendValue(std::string &out, const std::optional<Value> &value) {
    if (value) {
        AppendValue(out, *value);
    } else {
        out += "\\N";
    }
}

// Appends one row.
template <typename... Values>
void AppendLine(std::string &out, const Values &...values) {
    const char *separator = "";
    ((out += separator, AppendValue(out, values), separator = "\t"), ...);
    out += '\n';
}

}  // namespace varnindex
