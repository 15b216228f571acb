#include "linux/keytext.h"

#include <algorithm>
#include <utility>

namespace varn::keytext {

namespace {

// The carriage return belongs to them, so that files from other systems read well.
constexpr std::string_view kBlanks = " \t\r";

std::string_view Trim(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// Takes the next line off the front of `text`, its line feed included if it has one.
std::string_view TakeLine(std::string_view &text) {
    const std::size_t feed = text.find('\n');
    const std::string_view line = text.substr(0, feed == text.npos ? feed : feed + 1);
    text.remove_prefix(line.size());
    return line;
}

std::string_view WithoutFeed(std::string_view line) {
    return line.ends_with('\n') ? line.substr(0, line.size() - 1) : line;
}

struct Halves {
    std::string_view key;
    std::string_view value;
};

// Both sides of a line's "=", trimmed; an empty key where the line holds no entry.
Halves Split(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == line.npos) {
        return {};
    }
    const std::string_view key = Trim(line.substr(0, equals));
    if (key.starts_with('#')) {
        return {};
    }
    return {key, Trim(line.substr(equals + 1))};
}

// Reads what stands after an opening quote.
std::string Unquote(std::string_view text) {
    std::string value;
    value.reserve(text.size());
    for (std::size_t at = 0; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            value += text[at];
            continue;
        }
        ++at;
        value += text[at] == 'n' ? '\n' : text[at];
    }
    return value;
}

std::string ReadValue(std::string_view text) {
    return text.starts_with('"') ? Unquote(text.substr(1)) : std::string(text);
}

void AppendEntry(std::string &text, std::string_view key, std::string_view value) {
    text.append(key).append("=\"");
    for (const char c : value) {
        if (c == '\n') {
            text += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') {
            text += '\\';
        }
        text += c;
    }
    text += "\"\n";
}

}  // namespace

std::optional<Entry> ParseLine(std::string_view line) {
    const Halves halves = Split(line);
    if (halves.key.empty()) {
        return std::nullopt;
    }
    return Entry{std::string(halves.key), ReadValue(halves.value)};
}

std::vector<Entry> Parse(std::string_view text) {
    std::vector<Entry> entries;
    while (!text.empty()) {
        if (auto entry = ParseLine(WithoutFeed(TakeLine(text)))) {
            entries.push_back(*std::move(entry));
        }
    }
    return entries;
}

std::optional<std::string> Find(std::string_view text, std::string_view key) {
    while (!text.empty() && !key.empty()) {
        const Halves halves = Split(WithoutFeed(TakeLine(text)));
        if (halves.key == key) {
            return ReadValue(halves.value);
        }
    }
    return std::nullopt;
}

bool IsValidKey(std::string_view key) {
    constexpr std::string_view kForbidden("=\n\r\0", 4);
    return !key.empty() && key.front() != '#' && Trim(key) == key &&
           key.find_first_of(kForbidden) == key.npos;
}

std::string Set(std::string_view text, std::string_view key, std::string_view value) {
    std::string result;
    result.reserve(text.size() + key.size() + value.size() + sizeof "=\"\"\n");
    bool found = false;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (!found && Split(WithoutFeed(line)).key == key) {
            AppendEntry(result, key, value);
            found = true;
        } else {
            result += line;
        }
    }
    if (!found) {
        if (!result.empty() && result.back() != '\n') {
            result += '\n';
        }
        AppendEntry(result, key, value);
    }
    return result;
}

std::string Remove(std::string_view text, std::string_view key) {
    std::string result;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (key.empty() || Split(WithoutFeed(line)).key != key) {
            result += line;
        }
    }
    return result;
}

}  // namespace varn::keytext
