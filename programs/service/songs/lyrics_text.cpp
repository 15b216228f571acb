#include "service/songs/lyrics_text.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace tonvale_service {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// Digits at the front of a text, taken off it.
std::optional<int> TakeNumber(std::string_view &text, std::size_t mostDigits) {
    const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
    int number = 0;
    if (length == 0 || length > mostDigits) {
        return std::nullopt;
    }
    std::from_chars(text.data(), text.data() + length, number);
    text.remove_prefix(length);
    return number;
}

// "03:25", "03:25.1" and "03:25.123" as milliseconds; some programs write "03:25:12".
std::optional<int64_t> TimeOf(std::string_view stamp) {
    const auto minutes = TakeNumber(stamp, 4);
    if (!minutes || !stamp.starts_with(':')) {
        return std::nullopt;
    }
    stamp.remove_prefix(1);
    const auto seconds = TakeNumber(stamp, 2);
    if (!seconds) {
        return std::nullopt;
    }
    int64_t part = 0;
    if (stamp.starts_with('.') || stamp.starts_with(':')) {
        stamp.remove_prefix(1);
        const std::size_t digits = stamp.size();
        const auto read = TakeNumber(stamp, 3);
        if (!read) {
            return std::nullopt;
        }
        part = digits == 1 ? *read * 100 : digits == 2 ? *read * 10 : *read;
    }
    return stamp.empty() ? std::optional((*minutes * 60 + *seconds) * int64_t{1000} + part)
                         : std::nullopt;
}

// What stands in brackets at the front of a line, which is taken off it.
std::optional<std::string_view> TakeBrackets(std::string_view &line) {
    const std::size_t end = line.find(']');
    if (!line.starts_with('[') || end == line.npos) {
        return std::nullopt;
    }
    const std::string_view inside = line.substr(1, end - 1);
    line = Trimmed(line.substr(end + 1));
    return inside;
}

// A line without the times of its words, as in "<00:12.34>".
std::string WithoutWordTimes(std::string_view line) {
    constexpr std::size_t kLongestTime = 16;
    std::string text;
    while (!line.empty()) {
        const std::size_t end = line.substr(0, kLongestTime).find('>');
        if (line.front() == '<' && end != line.npos && TimeOf(line.substr(1, end - 1))) {
            line.remove_prefix(end + 1);
            continue;
        }
        text += line.front();
        line.remove_prefix(1);
    }
    return std::string(Trimmed(text));
}

class Reader {
  public:
    void Read(std::string_view line) {
        std::vector<int64_t> times;
        std::string_view rest = line;
        for (auto inside = TakeBrackets(rest); inside; inside = TakeBrackets(rest)) {
            if (const auto time = TimeOf(*inside)) {
                times.push_back(*time);
            } else if (!times.empty() || !rest.empty() || !IsNote(*inside)) {
                break;
            } else {
                return;
            }
            line = rest;
        }
        const std::string text = times.empty() ? std::string(line) : WithoutWordTimes(line);
        if (times.empty()) {
            Add(plain_, {}, text);
        }
        for (const int64_t time : times) {
            Add(timed_, time, text);
        }
    }

    Lyrics Result() && {
        while (!plain_.empty() && plain_.back().text.empty()) {
            plain_.pop_back();
        }
        if (timed_.empty()) {
            return {language_, false, std::move(plain_)};
        }
        for (LyricsLine &line : timed_) {
            line.start = std::max<int64_t>(*line.start - offset_, 0);
        }
        std::stable_sort(timed_.begin(), timed_.end(), [](const auto &one, const auto &other) {
            return one.start < other.start;
        });
        return {language_, true, std::move(timed_)};
    }

  private:
    // True for "ti:The title" and its kin, of which the offset and the language count.
    bool IsNote(std::string_view inside) {
        const std::size_t colon = inside.find(':');
        if (colon == inside.npos || colon == 0 || colon > 6) {
            return false;
        }
        const std::string_view name = inside.substr(0, colon);
        std::string_view value = Trimmed(inside.substr(colon + 1));
        if (name == "la" && !value.empty() && value.size() <= 16) {
            language_ = value;
        } else if (name == "offset") {
            value.remove_prefix(value.starts_with('+') ? 1 : 0);
            std::from_chars(value.data(), value.data() + value.size(), offset_);
        }
        return true;
    }

    // A line with many times is many lines.
    void Add(std::vector<LyricsLine> &lines, std::optional<int64_t> start,
             const std::string &text) {
        bytes_ += text.size();
        if (lines.size() < kMostLyricsLines && bytes_ <= 4 * kMostLyricsBytes) {
            lines.push_back({start, text});
        }
    }

    std::string language_ = kUnknownLanguage;
    int offset_ = 0;  // how many milliseconds sooner the lines come
    std::size_t bytes_ = 0;
    std::vector<LyricsLine> plain_;
    std::vector<LyricsLine> timed_;
};

}  // namespace

Lyrics ParseLyrics(std::string_view text) {
    Reader reader;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        reader.Read(Trimmed(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::move(reader).Result();
}

}  // namespace tonvale_service
