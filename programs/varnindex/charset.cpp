#include "charset.h"

#include <cstddef>
#include <cstdint>

#include "codepage.h"
#include "names.h"

namespace varnindex {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;  // ICU counts in 32 bits

std::string Utf8(const icu::UnicodeString &units) {
    std::string text;
    units.toUTF8String(text);
    return text;
}

// One damaged byte does not make a long UTF-8 text a text of another encoding.
bool IsNearlyUtf8(const icu::UnicodeString &units) {
    int foreign = 0;
    int unreadable = 0;
    for (int32_t i = 0; i < units.length(); ++i) {
        foreign += units[i] >= 0x80;
        unreadable += units[i] == 0xFFFD;
    }
    return unreadable * 8 < foreign;
}

std::string Interpret(std::string_view bytes) {
    using namespace std::string_view_literals;
    if (bytes.starts_with("\xEF\xBB\xBF"sv)) {
        return Utf8(Decode(bytes.substr(3), "UTF-8"));
    }
    if (bytes.starts_with("\xFF\xFE"sv)) {
        return Utf8(Decode(bytes.substr(2), "UTF-16LE"));
    }
    if (bytes.starts_with("\xFE\xFF"sv)) {
        return Utf8(Decode(bytes.substr(2), "UTF-16BE"));
    }
    if (IsUtf8(bytes)) {
        return std::string(bytes);
    }
    const icu::UnicodeString utf8 = Decode(bytes, "UTF-8");
    return Utf8(IsNearlyUtf8(utf8) ? utf8 : Decode(bytes, LikelyCodePage(bytes)));
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

}  // namespace

std::string ToUtf8(std::string_view bytes) {
    std::string text = Interpret(bytes.substr(0, kMaxBytes));
    UnifyLineEnds(text);
    return text;
}

}  // namespace varnindex
