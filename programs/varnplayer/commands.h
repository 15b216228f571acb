// What the control commands do.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include "queue.h"

namespace varnplayer {

// What the daemon knows besides what the music player daemon keeps.
struct Player {
    std::string mpdAddress;
    bool refresh = false;  // clients are to ask anew
    QueueAdder adder;
};

// Does one command and returns the answer's text, one JSON object (docs/players.md).
std::string Execute(Player &player, int32_t command, const std::string &payload);

}  // namespace varnplayer
