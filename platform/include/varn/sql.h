// Values into SQL, checked at compile time.
#pragma once

#include <array>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "varn/handles.h"

namespace varn {

namespace sql_detail {

enum class Slot { kText, kNumber };

// How a placeholder's argument is put into the statement (varn/db.h).
enum class Form { kQuotesDoubled, kNumber, kAsItIs, kPattern };

struct Placeholder {
    std::string_view name;
    Form form;
    constexpr Slot Takes() const { return form == Form::kNumber ? Slot::kNumber : Slot::kText; }
};

inline constexpr std::string_view kMark = "@VARN:";

inline constexpr std::array kPlaceholders = {
    Placeholder{"@VARN:VAR", Form::kQuotesDoubled}, Placeholder{"@VARN:INT", Form::kNumber},
    Placeholder{"@VARN:NEVAR", Form::kAsItIs}, Placeholder{"@VARN:LVAR", Form::kPattern}};

// The placeholder that `text` begins with; nothing when the word after the mark is none of them. By
// value: under its undefined-behaviour sanitizer g++ takes no address of a table for a constant.
constexpr std::optional<Placeholder> PlaceholderAt(std::string_view text) {
    for (const Placeholder &placeholder : kPlaceholders) {
        if (text.substr(0, placeholder.name.size()) == placeholder.name) {
            return placeholder;
        }
    }
    return std::nullopt;
}

template <typename T>
consteval Slot SlotOf() {
    if constexpr (std::same_as<T, int>) {
        return Slot::kNumber;
    } else {
        static_assert(std::convertible_to<T, const char *> || std::same_as<T, std::string>,
                      "a value for SQL is an int or a text");
        return Slot::kText;
    }
}

// Not constexpr: calling one of these stops the compilation and names the mistake.
void UnknownPlaceholder();
void TooManyPlaceholders();
void TooFewPlaceholders();
void WrongTypeForPlaceholder();

// Null for a text that holds a NUL: what stands after it would be cut off unnoticed.
inline const char *Raw(const std::string &text) {
    return text.find('\0') == std::string::npos ? text.c_str() : nullptr;
}
inline const char *Raw(const char *text) {
    return text;
}
inline int Raw(int number) {
    return number;
}

}  // namespace sql_detail

// A statement text whose placeholders agree with the arguments, in number and kind. Anything else
// does not compile.
template <typename... Args>
class SqlTemplate {
  public:
    template <std::size_t N>
    consteval SqlTemplate(const char (&text)[N]) : text_(text) {  // NOLINT: converts on purpose
        using namespace sql_detail;
        constexpr std::array<Slot, sizeof...(Args)> kWanted = {SlotOf<Args>()...};
        std::size_t used = 0;
        std::string_view rest(text, N - 1);
        for (std::size_t at = rest.find(kMark); at != rest.npos; at = rest.find(kMark)) {
            const std::optional<Placeholder> placeholder = PlaceholderAt(rest.substr(at));
            if (!placeholder) {
                UnknownPlaceholder();
            }
            if (used == kWanted.size()) {
                TooManyPlaceholders();
            } else if (kWanted[used] != placeholder->Takes()) {
                WrongTypeForPlaceholder();
            }
            ++used;
            rest.remove_prefix(at + placeholder->name.size());
        }
        if (used != kWanted.size()) {
            TooFewPlaceholders();
        }
    }
    const char *Text() const { return text_; }

  private:
    const char *text_;
};

// Fills the placeholders of a statement (VARNDBEscapeStringEX3) with ints and texts. Returns the
// statement, or nothing, error state set, when it could not be built (a null text, one that is not
// UTF-8, one that holds a NUL, memory). Nothing must not become an empty condition, which would let
// every row through.
template <typename... Args>
[[nodiscard]] std::optional<std::string> Sql(
    SqlTemplate<std::type_identity_t<std::decay_t<Args>>...> text, const Args &...args) {
    const Text filled(VARNDBEscapeStringEX3(1, text.Text(), sql_detail::Raw(args)...));
    return filled ? std::optional<std::string>(filled.get()) : std::nullopt;
}

}  // namespace varn
