#include "dlna/entities.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Tonvale::dlna {

namespace {

struct Entity {
    std::string_view name;
    char character;
};
constexpr Entity kEntities[] = {
    {"&apos;", '\''}, {"&quot;", '"'}, {"&nbsp;", ' '},
    {"&lt;", '<'},    {"&gt;", '>'},   {"&amp;", '&'},
};

// Takes the entity that a text begins with off its front, or else its first character. "&amp;" may
// be followed by anything: what it yields is never looked at again.
char TakeCharacter(std::string_view &rest) {
    for (const Entity &entity : kEntities) {
        if (rest.starts_with(entity.name)) {
            rest.remove_prefix(entity.name.size());
            return entity.character;
        }
    }
    const char character = rest.front();
    rest.remove_prefix(1);
    return character;
}

}  // namespace

void DecodeEntities(std::string &text) noexcept {
    char *write = text.data();
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t plain = std::min(rest.find('&'), rest.size());
        std::memmove(write, rest.data(), plain);
        write += plain;
        rest.remove_prefix(plain);
        if (!rest.empty()) {
            *write++ = TakeCharacter(rest);
        }
    }
    text.resize(static_cast<std::size_t>(write - text.data()));
}

}  // namespace Tonvale::dlna
