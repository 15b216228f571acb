#include "varnindex/read/names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

namespace varnindex {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::size_t kMaxGenres = 64;

struct Decoded {
    std::optional<char32_t> character;  // none: the bytes are not UTF-8
    std::size_t length;
};

struct Lead {
    std::size_t length;
    char32_t bits;
    char32_t smallest;  // of a sequence of this length; below it lies an overlong form
};

std::optional<Lead> ReadLead(unsigned char byte) {
    if (byte < 0x80) {
        return Lead{1, byte, 0};
    }
    if (byte >= 0xC2 && byte < 0xE0) {
        return Lead{2, byte & 0x1Fu, 0x80};
    }
    if (byte >= 0xE0 && byte < 0xF0) {
        return Lead{3, byte & 0x0Fu, 0x800};
    }
    if (byte >= 0xF0 && byte < 0xF5) {
        return Lead{4, byte & 0x07u, 0x10000};
    }
    return std::nullopt;
}

// Reads the first character of a text that is not empty.
Decoded DecodeFirst(std::string_view text) {
    const auto lead = ReadLead(static_cast<unsigned char>(text.front()));
    if (!lead || lead->length > text.size()) {
        return {std::nullopt, 1};
    }
    char32_t character = lead->bits;
    for (std::size_t i = 1; i < lead->length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return {std::nullopt, 1};
        }
        character = (character << 6) | (byte & 0x3Fu);
    }
    const bool surrogate = character >= 0xD800 && character < 0xE000;
    if (character < lead->smallest || surrogate || character > 0x10FFFF) {
        return {std::nullopt, 1};
    }
    return {character, lead->length};
}

void Append(std::string &out, char32_t character) {
    const auto tail = [&](int shift) {
        out += static_cast<char>(0x80 | ((character >> shift) & 0x3F));
    };
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

bool IsControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::size_t EncodedLength(char32_t character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

void TrimRight(std::string &text) {
    text.erase(text.find_last_not_of(' ') + 1);
}

std::string Clean(std::string_view raw, std::size_t maxCharacters, std::size_t maxBytes) {
    std::string out;
    std::size_t characters = 0;
    while (!raw.empty() && characters < maxCharacters) {
        const Decoded next = DecodeFirst(raw);
        raw.remove_prefix(next.length);
        char32_t character = next.character.value_or(kReplacement);
        character = IsControl(character) ? U' ' : character;
        if (character == U' ' && out.empty()) {
            continue;
        }
        if (out.size() + EncodedLength(character) > maxBytes) {
            break;
        }
        Append(out, character);
        ++characters;
    }
    TrimRight(out);
    return out;
}

bool EqualIgnoringCase(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

}  // namespace

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const Decoded next = DecodeFirst(text);
        if (!next.character) {
            return false;
        }
        text.remove_prefix(next.length);
    }
    return true;
}

std::string Utf8FromUtf16(std::wstring_view units) {
    const auto at = [&](std::size_t i) { return static_cast<char32_t>(units[i]) & 0xFFFF; };
    std::string out;
    out.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t character = at(i);
        if (character >= 0xD800 && character < 0xDC00 && i + 1 < units.size() &&
            at(i + 1) >= 0xDC00 && at(i + 1) < 0xE000) {
            character = 0x10000 + ((character - 0xD800) << 10) + (at(i + 1) - 0xDC00);
            ++i;
        } else if (character >= 0xD800 && character < 0xE000) {
            character = kReplacement;
        }
        Append(out, character);
    }
    return out;
}

std::string CleanName(std::string_view raw) {
    return Clean(raw, kMaxCharacters, std::string::npos);
}

std::string CleanComment(std::string_view raw) {
    return Clean(raw, std::string::npos, kMaxCommentBytes);
}

std::string SortName(std::string_view name) {
    static constexpr std::array<std::string_view, 3> kArticles = {"the", "a", "an"};
    const std::size_t blank = name.find(' ');
    if (blank == std::string_view::npos) {
        return std::string(name);
    }
    const std::string_view first = name.substr(0, blank);
    const std::size_t rest = name.find_first_not_of(' ', blank);
    const bool article = std::any_of(kArticles.begin(), kArticles.end(),
                                     [&](auto word) { return EqualIgnoringCase(first, word); });
    return std::string(article && rest != std::string_view::npos ? name.substr(rest) : name);
}

std::vector<std::string> CleanGenres(const std::vector<std::string> &values) {
    std::vector<std::string> genres;
    for (std::string_view rest : values) {
        while (!rest.empty() && genres.size() < kMaxGenres) {
            const std::size_t end = std::min(rest.find(';'), rest.size());
            std::string genre = CleanName(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (!genre.empty() && std::find(genres.begin(), genres.end(), genre) == genres.end()) {
                genres.push_back(std::move(genre));
            }
        }
    }
    return genres;
}

std::string JoinGenres(const std::vector<std::string> &genres) {
    std::string joined;
    for (const std::string &genre : genres) {
        joined += (joined.empty() ? "" : ", ") + genre;
    }
    return CleanName(joined);
}

int LeadingNumber(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + digits, number);
    return error == std::errc() ? number : 0;
}

std::string Printable(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    while (!path.empty()) {
        const Decoded next = DecodeFirst(path);
        const bool plain = next.character && !IsControl(*next.character);
        if (plain) {
            out += path.substr(0, next.length);
        } else {
            for (const char byte : path.substr(0, next.length)) {
                const auto value = static_cast<unsigned char>(byte);
                out += {'\\', 'x', kHex[value >> 4], kHex[value & 15]};
            }
        }
        path.remove_prefix(next.length);
    }
    return out;
}

}  // namespace varnindex
