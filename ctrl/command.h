// Sending one command to the player daemon.
#pragma once

#include <string_view>

#include "tonvale/players.h"

namespace Tonvale::ctrl {

// Where an answer goes; by default nowhere.
struct Answer {
    char *out = nullptr;
    int size = 0;
};

// Sends a command with a payload (at most 8191 bytes of it; up to a NUL) and returns the length of
// the answer, or -1.
int Send(VARN_AUDIO_COMMAND command, std::string_view payload = {}, Answer answer = {});

// The same with numbers as payload, joined by blanks.
int SendNumber(VARN_AUDIO_COMMAND command, int number, Answer answer = {});
int SendPage(VARN_AUDIO_COMMAND command, int offset, int limit, Answer answer);

}  // namespace Tonvale::ctrl
