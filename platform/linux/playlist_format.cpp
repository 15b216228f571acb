#include "linux/playlist_format.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "linux/charset.h"
#include "linux/playlist_text.h"
#include "linux/playlist_wpl.h"
#include "varn/number.h"
#include "varn/text.h"

namespace varn::playlist {

namespace {

std::string_view TakeLine(std::string_view &text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line;
}

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(kBlanks) == text.npos;
}

// 0 for a number below 0, as for none.
int Count(std::string_view text) {
    return std::max(varn::LeadingNumber<int>(text), 0);
}

// ---- m3u ----------------------------------------------------------------------------------------

// "LENGTH,TITLE"; attributes, whose values may hold commas between quotes, can stand after the
// length.
void ReadInfo(std::string_view value, Tags &tags) {
    tags.duration = Count(value);
    bool quoted = false;
    const auto *const comma = std::find_if(value.begin(), value.end(), [&](char c) {
        quoted = quoted != (c == '"');
        return c == ',' && !quoted;
    });
    // A quote that is not closed belongs to the title.
    const std::size_t at =
        comma != value.end() ? static_cast<std::size_t>(comma - value.begin()) : value.find(',');
    tags.title = at < value.size() ? value.substr(at + 1) : std::string_view();
}

struct TextLine {
    std::string_view name;
    std::string_view Tags::*field;
};
constexpr std::array kTextLines = {TextLine{"#extinfartist:", &Tags::artist},
                                   TextLine{"#extinfalbum:", &Tags::album},
                                   TextLine{"#extinfgenre:", &Tags::genre}};

struct NumberLine {
    std::string_view name;
    int Tags::*field;
};
constexpr std::array kNumberLines = {NumberLine{"#extinfyear:", &Tags::year},
                                     NumberLine{"#extinfdisc:", &Tags::disc},
                                     NumberLine{"#extinftrack:", &Tags::track}};

constexpr std::string_view kInfoLine = "#extinf:";
constexpr std::string_view kHeaderLine = "#extm3u";

// True for a line that tells something about the next entry, or about the list.
bool ReadTag(std::string_view line, Tags &tags) {
    if (StartsWithIgnoringCase(line, kInfoLine)) {
        ReadInfo(line.substr(kInfoLine.size()), tags);
        return true;
    }
    for (const TextLine &known : kTextLines) {
        if (StartsWithIgnoringCase(line, known.name)) {
            tags.*known.field = line.substr(known.name.size());
            return true;
        }
    }
    for (const NumberLine &known : kNumberLines) {
        if (StartsWithIgnoringCase(line, known.name)) {
            tags.*known.field = Count(line.substr(known.name.size()));
            return true;
        }
    }
    return StartsWithIgnoringCase(line, kHeaderLine);
}

void ParseM3u(std::string_view rest, const Sink &sink) {
    Tags tags;
    while (!rest.empty()) {
        const std::string_view line = TakeLine(rest);
        if (IsBlank(line)) {
            continue;
        }
        const std::string_view text = line.substr(line.find_first_not_of(kBlanks));
        if (text.front() != '#') {
            sink({line, tags, false});
            tags = Tags();
        } else if (!ReadTag(text, tags)) {
            sink({line, Tags(), true});
        }
    }
}

// ---- pls ----------------------------------------------------------------------------------------

struct Numbered {
    std::uint64_t number;
    std::string_view value;
};

enum class Key { kFile, kTitle, kLength };

struct KeyName {
    std::string_view name;
    Key key;
};
constexpr std::array kKeyNames = {KeyName{"file", Key::kFile}, KeyName{"title", Key::kTitle},
                                  KeyName{"length", Key::kLength}};

using Columns = std::array<std::vector<Numbered>, kKeyNames.size()>;

// The number of a key. One that is missing or too large comes after all others.
std::uint64_t KeyNumber(std::string_view digits) {
    std::uint64_t number = UINT64_MAX;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

void ReadPair(std::string_view line, Columns &columns) {
    const std::size_t sign = line.find('=');
    if (sign == line.npos || IsBlank(line.substr(sign + 1))) {
        return;
    }
    const std::string_view key = Trimmed(line.substr(0, sign));
    for (const KeyName &known : kKeyNames) {
        const std::string_view digits = key.substr(std::min(known.name.size(), key.size()));
        if (StartsWithIgnoringCase(key, known.name) &&
            digits.find_first_not_of("0123456789") == digits.npos) {
            auto &column = columns[static_cast<std::size_t>(known.key)];
            if (column.size() == kMostEntries) {
                throw NoPlaylist(EFBIG);
            }
            column.push_back({KeyNumber(digits), line.substr(sign + 1)});
        }
    }
}

// The value of a number in a sorted column, whose numbers are asked for in ascending order.
std::string_view ValueFor(std::uint64_t number, const std::vector<Numbered> &column,
                          std::size_t &at) {
    while (at < column.size() && column[at].number < number) {
        ++at;
    }
    const bool found = at < column.size() && column[at].number == number && number != UINT64_MAX;
    return found ? column[at].value : std::string_view();
}

void ParsePls(std::string_view text, const Sink &sink) {
    Columns columns;
    while (!text.empty()) {
        ReadPair(TakeLine(text), columns);
    }
    for (auto &column : columns) {
        std::stable_sort(column.begin(), column.end(),
                         [](const Numbered &a, const Numbered &b) { return a.number < b.number; });
    }
    const auto &[files, titles, lengths] = columns;
    std::size_t title = 0;
    std::size_t length = 0;
    for (const Numbered &file : files) {
        Tags tags;
        tags.title = ValueFor(file.number, titles, title);
        tags.duration = Count(ValueFor(file.number, lengths, length));
        sink({file.value, tags, false});
    }
}

// True for the playlists that no program writes in a code page.
bool IsOnlyUtf8(Format format, std::string_view bytes) {
    constexpr std::size_t kHead = 256;
    return format == Format::kM3u8 ||
           (format == Format::kWpl && IsOwnWpl(ToUtf8(bytes.substr(0, kHead))));
}

}  // namespace

std::optional<Format> FormatOf(std::string_view path) {
    struct Known {
        std::string_view extension;
        Format format;
    };
    constexpr std::array kKnown = {Known{"m3u", Format::kM3u}, Known{"m3u8", Format::kM3u8},
                                   Known{"pls", Format::kPls}, Known{"wpl", Format::kWpl}};
    const std::string_view name = path.substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    const std::string_view extension = dot == name.npos ? "" : name.substr(dot + 1);
    for (const Known &known : kKnown) {
        if (extension.size() == known.extension.size() &&
            StartsWithIgnoringCase(extension, known.extension)) {
            return known.format;
        }
    }
    return std::nullopt;
}

void ParseEntries(Format format, std::string_view bytes, const Sink &sink) {
    constexpr std::string_view kNul("\0", 1);
    // Before the text is converted; what is UTF-16 has its NULs in every character.
    if (bytes.find(kNul) != bytes.npos && !IsUtf16(bytes)) {
        throw NoPlaylist(EILSEQ);
    }
    if (std::count(bytes.begin(), bytes.end(), '\n') > kMostLines) {
        throw NoPlaylist(EFBIG);
    }
    const std::string text = LinesToUtf8(bytes, IsOnlyUtf8(format, bytes));
    if (text.find(kNul) != text.npos) {
        throw NoPlaylist(EILSEQ);
    }
    std::size_t count = 0;
    const Sink bounded = [&](const Entry &entry) {
        if (++count > kMostEntries) {
            throw NoPlaylist(EFBIG);
        }
        sink(entry);
    };
    switch (format) {
        case Format::kM3u:
        case Format::kM3u8:
            return ParseM3u(text, bounded);
        case Format::kPls:
            return ParsePls(text, bounded);
        case Format::kWpl:
            return ParseWpl(text, bounded);
    }
}

}  // namespace varn::playlist
