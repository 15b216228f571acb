// What a speaker's answer asks for.
#pragma once

#include <string>
#include <string_view>

namespace Tonvale::airplay {

struct Challenge {
    std::string realm;     // at most 255 bytes
    std::string nonce;     // at most 255 bytes
    bool hasJack = false;  // it told of its jack: this kind of speaker wants digests in upper case
};

// Takes what matters of one header line into the record; a line that says nothing leaves it alone.
void ReadHeader(std::string_view line, Challenge &challenge);

}  // namespace Tonvale::airplay
