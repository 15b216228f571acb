#include "varnindex/read/names.h"

#include <strings.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>

#include "varn/number.h"

namespace varnindex {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;
constexpr std::size_t kMaxGenres = 64;

struct Decoded {
    UChar32 character;  // negative: the byte is no part of UTF-8
    std::size_t length;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // in the macro

// Reads the first character of a text that is not empty.
Decoded DecodeFirst(std::string_view text) {
    const auto size = static_cast<int>(std::min<std::size_t>(text.size(), U8_MAX_LENGTH));
    int length = 0;
    UChar32 character = 0;
    U8_NEXT(text.data(), length, size, character);
    return {character, character >= 0 ? static_cast<std::size_t>(length) : 1};
}

#pragma GCC diagnostic pop

void Append(std::string &out, UChar32 character) {
    char bytes[U8_MAX_LENGTH];
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, character);
    out.append(bytes, length);
}

bool IsControl(UChar32 character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::string Clean(std::string_view raw, std::size_t maxCharacters, std::size_t maxBytes) {
    std::string out;
    std::size_t characters = 0;
    while (!raw.empty() && characters < maxCharacters) {
        const Decoded next = DecodeFirst(raw);
        raw.remove_prefix(next.length);
        const UChar32 character = next.character < 0          ? kReplacement
                                  : IsControl(next.character) ? ' '
                                                              : next.character;
        if (character == ' ' && out.empty()) {
            continue;
        }
        if (out.size() + U8_LENGTH(character) > maxBytes) {
            break;
        }
        Append(out, character);
        ++characters;
    }
    out.erase(out.find_last_not_of(' ') + 1);
    return out;
}

}  // namespace

std::string CleanName(std::string_view raw) {
    return Clean(raw, kMaxCharacters, std::string::npos);
}

std::string CleanComment(std::string_view raw) {
    return Clean(raw, std::string::npos, kMaxCommentBytes);
}

std::string SortName(std::string_view name) {
    static constexpr std::array<std::string_view, 3> kArticles = {"the ", "a ", "an "};
    const bool hasArticle =
        std::any_of(kArticles.begin(), kArticles.end(), [&](std::string_view article) {
            return name.size() > article.size() &&
                   strncasecmp(name.data(), article.data(), article.size()) == 0;
        });
    const std::size_t rest = hasArticle ? name.find_first_not_of(' ', name.find(' ')) : 0;
    return std::string(name.substr(rest != name.npos ? rest : 0));
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
    return std::max(varn::LeadingNumber<int>(text), 0);
}

std::string Printable(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    while (!path.empty()) {
        const Decoded next = DecodeFirst(path);
        if (next.character >= 0 && !IsControl(next.character)) {
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
