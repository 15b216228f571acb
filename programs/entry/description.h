// What the tables of the APIs tell of parameters and answers. /webapi/openapi.json is made from it,
// and Request takes bounds and names from it.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tonvale_entry {

enum class Kind {
    kText,
    kNumber,
    kFlag,   // "true" or "false"
    kTexts,  // several: a JSON array, or separated by commas
    kNumbers
};

// The highest number that every reader of JSON keeps as it is.
inline constexpr long long kMostExact = (1LL << 53) - 1;

struct Parameter {
    std::string_view name;
    std::string_view what;  // a sentence
    Kind kind = Kind::kText;
    bool isRequired = false;
    long long low = 0;  // of a number
    long long high = INT_MAX;
    std::string_view usual = {};    // when it is not given
    std::string_view choices = {};  // names, separated by blanks; of a number those beside numbers
    std::vector<std::string> (*names)() = nullptr;  // the choices, where another part knows them
};

// Words with a blank between them.
std::vector<std::string> WordsOf(std::string_view text);

// The names that a value may be; none for any.
std::vector<std::string> ChoicesOf(const Parameter &parameter);

template <typename Part>
inline constexpr std::size_t kParametersIn = 1;
template <std::size_t Count>
inline constexpr std::size_t kParametersIn<std::array<Parameter, Count>> = Count;

// Parameters, and arrays of them, as one array.
template <typename... Parts>
constexpr auto Join(const Parts &...parts) {
    std::array<Parameter, (kParametersIn<Parts> + ... + 0)> all{};
    auto *next = all.begin();
    const auto add = [&](const auto &part) {
        if constexpr (std::is_same_v<decltype(part), const Parameter &>) {
            *next++ = part;
        } else {
            next = std::copy(part.begin(), part.end(), next);
        }
    };
    (add(parts), ...);
    return all;
}

// A member of an answer's object.
struct Field {
    std::string_view name;  // with "?" at its end where it may be missing
    // text, number, real, flag, time (seconds since 1970), null, any; the name of a schema; "=a b"
    // for one of these texts; "[T]" for a list, "{T}" for an object with any names; "T|T" for
    // either.
    std::string_view type;
    std::string_view what = {};  // half a sentence, where the name does not say it
};

// An object of answers. Each name is there once among all APIs.
struct Schema {
    std::string_view name;
    std::span<const Field> fields;
    std::string_view what = {};
    bool isOpen = false;  // has members that others choose
};

}  // namespace tonvale_entry
