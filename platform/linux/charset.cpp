#include "linux/charset.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>

#include "linux/codepage.h"
#include "linux/utf8.h"
#include "varn/text.h"

namespace varn {
namespace {

// Reads bytes in an encoding that ICU knows by this name, block by block. What means nothing in it,
// and everything when ICU does not know it, becomes U+FFFD.
std::string Decoded(std::string_view bytes, const char *encoding) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::LocalUConverterPointer from(ucnv_open(encoding, &error));
    const icu::LocalUConverterPointer to(ucnv_open("UTF-8", &error));
    if (U_FAILURE(error)) {
        return "\xEF\xBF\xBD";
    }
    std::string text;
    std::array<char, 16384> block;
    std::array<UChar, 4096> pivot;
    UChar *pivotSource = pivot.data();
    UChar *pivotTarget = pivot.data();
    const char *source = bytes.data();
    bool first = true;
    do {
        error = U_ZERO_ERROR;
        char *target = block.data();
        ucnv_convertEx(to.getAlias(), from.getAlias(), &target, block.data() + block.size(),
                       &source, bytes.data() + bytes.size(), pivot.data(), &pivotSource,
                       &pivotTarget, pivot.data() + pivot.size(), first, true, &error);
        text.append(block.data(), target);
        first = false;
    } while (error == U_BUFFER_OVERFLOW_ERROR);
    if (U_FAILURE(error)) {
        throw std::bad_alloc();  // nothing else is left that could go wrong
    }
    return text;
}

constexpr std::size_t kForeignForEachDamage = 8;

// One damaged byte does not make a long UTF-8 text a text of another encoding.
bool IsNearlyUtf8(std::string_view decoded) {
    constexpr std::string_view kUnreadable = "\xEF\xBF\xBD";
    std::size_t foreign = 0;
    for (const char byte : decoded) {
        foreign += (static_cast<unsigned char>(byte) & 0xC0U) == 0xC0U;
    }
    std::size_t unreadable = 0;
    for (std::size_t at = decoded.find(kUnreadable); at != decoded.npos;
         at = decoded.find(kUnreadable, at + kUnreadable.size())) {
        ++unreadable;
    }
    return unreadable * kForeignForEachDamage < foreign;
}

// How a text begins, and what that says of its encoding.
struct Beginning {
    std::string_view mark;
    const char *encoding;
};

constexpr std::array kMarks = {Beginning{"\xEF\xBB\xBF", "UTF-8"},
                               Beginning{"\xFF\xFE", "UTF-16LE"},
                               Beginning{"\xFE\xFF", "UTF-16BE"}};

// The encoding of UTF-16 without a mark, told by two ASCII characters at its begin; null otherwise.
const char *UnmarkedUtf16(std::string_view bytes) {
    const auto isAscii = [&](std::size_t i) { return static_cast<signed char>(bytes[i]) > 0; };
    if (bytes.size() < 4) {
        return nullptr;
    }
    if (isAscii(0) && bytes[1] == 0 && isAscii(2) && bytes[3] == 0) {
        return "UTF-16LE";
    }
    return bytes[0] == 0 && isAscii(1) && bytes[2] == 0 && isAscii(3) ? "UTF-16BE" : nullptr;
}

// The text of bytes whose begin tells the encoding.
std::optional<std::string> DecodedByBeginning(std::string_view bytes) {
    for (const Beginning &known : kMarks) {
        if (bytes.starts_with(known.mark)) {
            return Decoded(bytes.substr(known.mark.size()), known.encoding);
        }
    }
    if (const char *const encoding = UnmarkedUtf16(bytes)) {
        return Decoded(bytes, encoding);
    }
    return std::nullopt;
}

std::string Interpret(std::string_view bytes) {
    if (auto text = DecodedByBeginning(bytes)) {
        return *std::move(text);
    }
    if (IsUtf8(bytes)) {
        return std::string(bytes);
    }
    std::string utf8 = Decoded(bytes, "UTF-8");
    return IsNearlyUtf8(utf8) ? utf8 : Decoded(bytes, LikelyCodePage(bytes));
}

// In place: every CR LF and every lone CR becomes one LF.
void UnifyLineEnds(std::string &text) {
    auto out = text.begin();
    for (auto in = text.begin(); in != text.end(); ++in) {
        if (*in == '\r') {
            *out++ = '\n';
            in += in + 1 != text.end() && in[1] == '\n' ? 1 : 0;
        } else {
            *out++ = *in;
        }
    }
    text.erase(out, text.end());
}

// A line with its end.
std::string_view TakeLine(std::string_view &text) {
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.size());
    return line;
}

bool NeedsCodePage(std::string_view line) {
    const auto foreign = std::count_if(line.begin(), line.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0x80U) != 0;
    });
    // Most lines are too short to be nearly UTF-8, and to convert one costs much.
    return !IsUtf8(line) && (static_cast<std::size_t>(foreign) <= kForeignForEachDamage ||
                             !IsNearlyUtf8(Decoded(line, "UTF-8")));
}

// The lines that are in a code page.
std::string ForeignLines(std::string_view text) {
    std::string foreign;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        foreign += NeedsCodePage(line) ? line : std::string_view();
    }
    return foreign;
}

}  // namespace

bool IsUtf16(std::string_view bytes) {
    return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF") ||
           UnmarkedUtf16(bytes) != nullptr;
}

std::string ToUtf8(std::string_view bytes) {
    std::string text = Interpret(bytes);
    UnifyLineEnds(text);
    return text;
}

std::string LinesToUtf8(std::string_view bytes, bool onlyUtf8) {
    std::optional<std::string> known = DecodedByBeginning(bytes);
    std::string text = known ? *std::move(known) : std::string(bytes);
    // No code page has a line end's byte within a character.
    UnifyLineEnds(text);
    if (IsUtf8(text)) {
        return text;
    }
    const std::string foreign = onlyUtf8 ? "" : ForeignLines(text);
    const char *const page = LikelyCodePage(foreign);
    std::string utf8;
    utf8.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view line = TakeLine(rest);
        if (IsUtf8(line)) {
            utf8 += line;
        } else {
            utf8 += Decoded(line, !onlyUtf8 && NeedsCodePage(line) ? page : "UTF-8");
        }
    }
    return utf8;
}

}  // namespace varn
