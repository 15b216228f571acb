#include "linux/playlist_wpl.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "linux/playlist_text.h"

// A scanner of our own: an XML parser stops at the first bare ampersand, which many programs write,
// this system's among them.

namespace varn::playlist {

namespace {

constexpr std::string_view kSpace = " \t\n";
constexpr std::string_view kElement = "media";

// The lists that this system writes: one element a line, paths as they are.
constexpr std::string_view kOwnHeader =
    "<?wpl version=\"1.0\"?>\n<smil>\n<head></head>\n<body>\n<seq>\n";
constexpr std::string_view kOwnBefore = "<media src=\"";
constexpr std::string_view kOwnAfter = "\"/>";

void SkipSpace(std::string_view &text) {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
}

// ---- entities -----------------------------------------------------------------------------------

void AppendUtf8(std::string &out, std::uint32_t c) {
    const auto tail = [&](int shift) { out += static_cast<char>(0x80U | ((c >> shift) & 0x3FU)); };
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0U | (c >> 6));
        tail(0);
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0U | (c >> 12));
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0U | (c >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

// "#38" or "#x26" as a character; empty for what may stand in no path.
std::optional<std::uint32_t> NumberedCharacter(std::string_view name) {
    name.remove_prefix(1);
    const bool hexadecimal = name.starts_with('x') || name.starts_with('X');
    name.remove_prefix(hexadecimal ? 1 : 0);
    std::uint32_t c = 0;
    const auto [end, error] =
        std::from_chars(name.data(), name.data() + name.size(), c, hexadecimal ? 16 : 10);
    const bool whole = error == std::errc() && end == name.data() + name.size();
    const bool surrogate = c >= 0xD800 && c < 0xE000;
    return whole && c >= 0x20 && c <= 0x10FFFF && !surrogate ? std::optional(c) : std::nullopt;
}

std::optional<std::uint32_t> Character(std::string_view name) {
    struct Known {
        std::string_view name;
        char character;
    };
    constexpr std::array kKnown = {Known{"amp", '&'}, Known{"lt", '<'}, Known{"gt", '>'},
                                   Known{"quot", '"'}, Known{"apos", '\''}};
    if (name.starts_with('#')) {
        return NumberedCharacter(name);
    }
    for (const Known &known : kKnown) {
        if (name == known.name) {
            return known.character;
        }
    }
    return std::nullopt;
}

// The text with its entities as characters; an ampersand that begins none stays.
std::string Decoded(std::string_view text) {
    constexpr std::size_t kLongest = 8;
    std::string plain;
    while (!text.empty()) {
        const std::size_t ampersand = std::min(text.find('&'), text.size());
        plain += text.substr(0, ampersand);
        text.remove_prefix(ampersand);
        if (text.empty()) {
            break;
        }
        const std::size_t end = text.substr(0, kLongest + 2).find(';');
        const auto character = end == text.npos ? std::nullopt : Character(text.substr(1, end - 1));
        if (character) {
            AppendUtf8(plain, *character);
            text.remove_prefix(end + 1);
        } else {
            plain += '&';
            text.remove_prefix(1);
        }
    }
    return plain;
}

// ---- elements -----------------------------------------------------------------------------------

// True when a quote in front of `rest` ends a value: what follows is the element's end or the next
// attribute. A quote within a path is followed by neither.
bool EndsValue(std::string_view rest) {
    SkipSpace(rest);
    if (rest.empty() || rest.front() == '>' || rest.starts_with("/>")) {
        return true;
    }
    const std::size_t name = rest.find_first_of(" \t\n=\"'<>");
    return name != rest.npos && name > 0 && rest[name] == '=';
}

// Takes a value with its quotes off the front of `text`. One whose quote is not closed goes to the
// end of its line.
std::string_view TakeValue(std::string_view &text) {
    const char quote = text.front();
    if (quote != '"' && quote != '\'') {
        const std::string_view word = text.substr(0, text.find_first_of(" \t\n<>"));
        text.remove_prefix(word.size());
        return word;
    }
    text.remove_prefix(1);
    // Never farther than the value goes: a whole list may stand on one line.
    const std::string_view stops = quote == '"' ? "\"\n" : "'\n";
    std::size_t at = text.find_first_of(stops);
    while (at != text.npos && text[at] == quote && !EndsValue(text.substr(at + 1))) {
        at = text.find_first_of(stops, at + 1);
    }
    const std::string_view value = text.substr(0, at);
    const bool isClosed = at != text.npos && text[at] == quote;
    text.remove_prefix(value.size() + (isClosed ? 1 : 0));
    return value;
}

// Takes the attributes of an element off the front of `text` and returns the source among them.
std::string_view TakeSource(std::string_view &text) {
    std::string_view source;
    for (SkipSpace(text); !text.empty() && text.front() != '>' && text.front() != '<';
         SkipSpace(text)) {
        const std::string_view name = text.substr(0, text.find_first_of(" \t\n=<>"));
        text.remove_prefix(name.size());
        SkipSpace(text);
        if (!text.starts_with('=')) {
            continue;
        }
        text.remove_prefix(1);
        SkipSpace(text);
        if (!text.empty()) {
            const std::string_view value = TakeValue(text);
            source = EqualsIgnoringCase(name, "src") ? value : source;
        }
    }
    return source;
}

void Offer(std::string_view path, const Sink &sink, const std::string &otherwise = "") {
    if (path.find_first_not_of(kSpace) != path.npos) {
        sink({path, Tags(), false, otherwise});
    }
}

void ParseForeign(std::string_view text, const Sink &sink) {
    constexpr std::string_view kComment = "<!--";
    bool commentsEnd = true;
    for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<')) {
        text.remove_prefix(at);
        if (commentsEnd && text.starts_with(kComment)) {
            const std::size_t end = text.find("-->", kComment.size());
            commentsEnd = end != text.npos;  // one that does not hides nothing
            text.remove_prefix(commentsEnd ? end : kComment.size());
            continue;
        }
        text.remove_prefix(1);
        const std::string_view name = text.substr(0, kElement.size());
        if (EqualsIgnoringCase(name, kElement) && text.size() > name.size() &&
            kSpace.find(text[name.size()]) != kSpace.npos) {
            text.remove_prefix(name.size());
            std::string path = Decoded(TakeSource(text));
            std::replace(path.begin(), path.end(), '\n', ' ');
            Offer(path, sink);
        }
    }
}

bool IsOwn(std::string_view line) {
    return line.starts_with(kOwnBefore) && line.ends_with(kOwnAfter) &&
           line.size() >= kOwnBefore.size() + kOwnAfter.size();
}

// An element as this system writes it. A quote in it belongs to the path, or begins the attributes
// that another program has put after the source.
void OfferOwn(std::string_view line, const Sink &sink) {
    std::string_view attributes = line.substr(1 + kElement.size());
    const std::string_view source = TakeSource(attributes);
    line.remove_prefix(kOwnBefore.size());
    line.remove_suffix(kOwnAfter.size());
    const bool isWhole =
        source.size() == line.size() || source.find_first_not_of(kSpace) == source.npos;
    Offer(line, sink, isWhole ? "" : Decoded(source));
}

// What this system wrote, one element a line, and what another program has put between that.
void ParseOwn(std::string_view text, const Sink &sink) {
    std::size_t foreign = 0;  // what was not read before the line
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        const std::string_view line = text.substr(at, end - at);
        const std::size_t next = end == text.npos ? text.size() : end + 1;
        if (IsOwn(line)) {
            ParseForeign(text.substr(foreign, at - foreign), sink);
            OfferOwn(line, sink);
            foreign = next;
        } else if (end == text.npos) {
            text = text.substr(0, at);  // a line that was not written to its end
        }
        at = next;
    }
    ParseForeign(text.substr(std::min(foreign, text.size())), sink);
}

}  // namespace

bool IsOwnWpl(std::string_view text) {
    return text.starts_with(kOwnHeader);
}

void ParseWpl(std::string_view text, const Sink &sink) {
    if (IsOwnWpl(text)) {
        ParseOwn(text.substr(kOwnHeader.size()), sink);
    } else {
        ParseForeign(text, sink);
    }
}

}  // namespace varn::playlist
