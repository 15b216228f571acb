// The way to the player daemon.
#pragma once

#include <cstdint>

#include "varn/export.h"

extern "C" {

// One command. The daemon tells from the code whether there is a payload; where there is none its
// bytes mean nothing.
typedef struct {
    int32_t command;
    char payload[8192];  // text with its NUL
} VARN_AUDIO_CTRL_MSG;

// How long one exchange may take from connecting to the last byte of the answer, in milliseconds.
enum { VARN_AUDIO_CTRL_TIMEOUT = 5000 };

// Sends a command to the daemon at the local stream socket "/var/run/Tonvale/player.sock" and waits
// for its answer. The message goes over as it lies in memory, all 8196 bytes of it, in this
// machine's byte order; what comes back until the daemon closes the connection is the answer's
// text. One connection carries one exchange.
//
// Writes the answer with a NUL into `reply` (replySize bytes, at least 1); an answer that does not
// fit is cut, and the rest not waited for. Returns the number of bytes written, the NUL not
// counted; so replySize-1 says that there may have been more. -1, with `reply` as "" and errno
// set, when the daemon is not there, goes away before it has taken the message, or takes longer
// than VARN_AUDIO_CTRL_TIMEOUT (ETIMEDOUT). A daemon that ends in the middle of its answer looks
// like one that has said everything: the answer's own form has to tell.
VARN_EXPORT int VARNAudioCtrlSend(const VARN_AUDIO_CTRL_MSG *message, char *reply, int replySize);

}  // extern "C"

static_assert(sizeof(VARN_AUDIO_CTRL_MSG) == 8196, "the daemon reads exactly this");
