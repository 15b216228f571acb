// Values and patterns made safe for SQL.
#include <strings.h>

#include <array>
#include <cctype>
#include <cstdarg>
#include <cstring>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/memory.h"
#include "linux/utf8.h"
#include "varn/base.h"
#include "varn/db.h"
#include "varn/sql.h"

namespace {

using varn::Guarded;
using varn::SetError;

using varn::sql_detail::Form;
using varn::sql_detail::PlaceholderAt;

// `text` with every character of `special` preceded by `mark`, or doubled where `mark` is NUL.
std::string Marked(std::string_view text, std::string_view special, char mark) {
    std::string out;
    out.reserve(text.size() + 8);
    for (const char c : text) {
        if (special.find(c) != special.npos) {
            out += mark != '\0' ? mark : c;
        }
        out += c;
    }
    return out;
}

std::string QuotesDoubled(std::string_view text) {
    return Marked(text, "'", '\0');
}

// The next argument as the placeholder wants it. False for a text that cannot be used.
bool AppendArgument(Form form, std::va_list *arguments, std::string &out) {
    if (form == Form::kNumber) {
        out += std::to_string(va_arg(*arguments, int));
        return true;
    }
    const char *text = va_arg(*arguments, const char *);
    if (text == nullptr || !varn::IsUtf8(text)) {
        return false;
    }
    if (form == Form::kAsItIs) {
        out += text;
    } else if (form == Form::kQuotesDoubled) {
        out += QuotesDoubled(text);
    } else {
        out += QuotesDoubled(Marked(text, "\\%_", '\\'));
    }
    return true;
}

bool Fill(std::string_view rest, std::va_list *arguments, std::string &out) {
    while (!rest.empty()) {
        if (const auto word = PlaceholderAt(rest)) {
            if (!AppendArgument(word->form, arguments, out)) {
                return false;
            }
            rest.remove_prefix(word->name.size());
            continue;
        }
        out += rest.front();
        rest.remove_prefix(rest.substr(0, 2) == "%%" ? 2 : 1);
    }
    return true;
}

char *Filled(const char *tmpl, std::va_list *arguments) {
    std::string out;
    if (!Fill(tmpl, arguments, out)) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    return VLIBCStrGet("%s", out.c_str());
}

// Copies a text that has to fit whole. Its length, or -1 with `out` as "".
int CopyOut(const std::string &text, char *out, std::size_t outSize) {
    if (!varn::CopyToBuffer(text, out, outSize)) {
        SetError(VLIB_ERR_TOO_LONG);
        return -1;
    }
    return static_cast<int>(text.size());
}

int EscapeInto(const char *in, std::string_view special, char *out, std::size_t outSize) {
    if (in == nullptr || out == nullptr) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return Guarded(-1, [&] { return CopyOut(Marked(in, special, '\0'), out, outSize); });
}

// ---- patterns of a finished condition ----------------------------------------------------------

bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool IsLike(std::string_view word) {
    const auto equals = [word](std::string_view keyword) {
        return word.size() == keyword.size() &&
               strncasecmp(word.data(), keyword.data(), word.size()) == 0;
    };
    return equals("LIKE") || equals("ILIKE");
}

// The end of the quoted piece that begins at `begin` (after its closing quote, a doubled quote
// being part of it), or npos when it is not closed.
std::size_t QuotedEnd(std::string_view text, std::size_t begin) {
    const char quote = text[begin];
    for (std::size_t at = begin + 1; at < text.size(); ++at) {
        if (text[at] != quote) {
            continue;
        }
        if (at + 1 == text.size() || text[at + 1] != quote) {
            return at + 1;
        }
        ++at;
    }
    return text.npos;
}

// The condition with the backslashes of its patterns doubled. False when a quote is not closed.
bool DoublePatternBackslashes(std::string_view text, std::string &out) {
    bool patternNext = false;  // the last token was LIKE or ILIKE
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        std::size_t end = at + 1;
        if (c == '\'' || c == '"') {
            end = QuotedEnd(text, at);
            if (end == text.npos) {
                return false;
            }
            const std::string_view quoted = text.substr(at, end - at);
            const bool isPattern = c == '\'' && patternNext;
            out += isPattern ? Marked(quoted, "\\", '\0') : std::string(quoted);
            patternNext = false;
        } else if (IsWordCharacter(c)) {
            while (end < text.size() && IsWordCharacter(text[end])) {
                ++end;
            }
            const std::string_view word = text.substr(at, end - at);
            out += word;
            patternNext = IsLike(word);
        } else {
            out += c;
            patternNext =
                patternNext && (c == '(' || std::isspace(static_cast<unsigned char>(c)) != 0);
        }
        at = end;
    }
    return true;
}

int EscapeCondition(char *condition, std::size_t size) {
    std::string escaped;
    if (!DoublePatternBackslashes(condition, escaped)) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    if (escaped.size() >= size) {
        SetError(VLIB_ERR_TOO_LONG);
        return -1;
    }
    std::memcpy(condition, escaped.c_str(), escaped.size() + 1);
    return 0;
}

}  // namespace

char *VARNDBEscapeStringEX3(int mode, const char *tmpl, ...) {
    if (mode != 1 || tmpl == nullptr) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    std::va_list arguments;
    va_start(arguments, tmpl);
    char *text = Guarded(static_cast<char *>(nullptr), [&] { return Filled(tmpl, &arguments); });
    va_end(arguments);
    return text;
}

int VARNDBEscapeString(const char *in, char *out, size_t outSize) {
    return EscapeInto(in, "'", out, outSize);
}

int VARNDBEscapeBackslash(const char *in, char *out, size_t outSize) {
    return EscapeInto(in, "\\", out, outSize);
}

int EscapeConditionEX(char *condition, size_t size) {
    if (condition == nullptr) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return Guarded(-1, [&] { return EscapeCondition(condition, size); });
}
