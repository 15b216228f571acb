// The common streamer: an encoder's output as a whole answer or as a range of it.
#pragma once

#include <cstdint>
#include <string>

#include "ffmpeg_transcode/encoder.h"

namespace Tonvale::transcode {

struct Job {
    Arguments arguments;
    std::string format;    // the format word, which chooses the Content-Type
    int64_t duration = 0;  // seconds of the song
    int64_t seek = 0;      // seconds of it that are left out
    int64_t bitRate = 0;   // bits per second, for the estimate of the length
    bool raw = false;      // a WAV header is sent as the encoder writes it
};

// Writes a CGI answer with the encoder's output, and the range of it that the request asks for.
// 0, or -1, logged: the answer is then cut short, or not begun.
int Serve(Job job);

}  // namespace Tonvale::transcode
