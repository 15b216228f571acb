// The state block of the player daemon, as queue files carry it.
#pragma once

#include <cstdint>

// Six words whose meaning is the daemon's; it is stored whole.
struct __tag_PlayerInfo__ {  // NOLINT(bugprone-reserved-identifier): the daemon's name for it
    int32_t word[6];
};

static_assert(sizeof(__tag_PlayerInfo__) == 24, "the layout of queue files");
