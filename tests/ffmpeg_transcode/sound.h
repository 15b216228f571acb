// Calls of the streamer, and encoders for it to call.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/fixture.h"
#include "tonvale/streaming.h"
#include "varn/systempath.h"

namespace tonvale_test {

struct Answered {
    int result = 0;
    std::string header;  // with the empty line
    std::string body;
};

class StreamTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        unsetenv("HTTP_RANGE");
    }
    void TearDown() override {
        unsetenv("HTTP_RANGE");
        SystemTest::TearDown();
    }

    // Puts a shell script in the encoder's place. Its function `sound` writes the file $SOUND from
    // the second that the encoder is asked for; a second has $RATE bytes.
    static void UseEncoder(const std::string &script) {
        const fs::path path = At(varn::path::kEncoder);
        fs::remove(path);
        std::ofstream(path) << "#!/bin/sh\n"
                            << "SOUND=" << SoundFile() << "\n"
                            << "printf '%s|' \"$@\" >>" << ArgumentFile() << "\n"
                            << "echo >>" << ArgumentFile() << "\n"
                            << "START=$4\n"
                            << "sound() { exec tail -c +$((START * RATE + 1)) \"$SOUND\"; }\n"
                            << script << "\n";
        chmod(path.c_str(), 0755);
    }
    // The arguments of the encoder, a line for each start, with "|" after each word.
    static std::string Asked() { return ReadFile(ArgumentFile()); }

    // Random bytes, as the file $SOUND.
    static std::string MakeSound(std::size_t size) {
        std::string sound(size, '\0');
        uint32_t state = 12345;
        for (char &byte : sound) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<char>(state >> 24);
        }
        std::ofstream(SoundFile(), std::ios::binary) << sound;
        return sound;
    }

    // What a call writes. The range "" is none.
    template <typename Call>
    static Answered Stream(Call &&call, const std::string &range = "") {
        range.empty() ? unsetenv("HTTP_RANGE") : setenv("HTTP_RANGE", range.c_str(), 1);
        Answered answered;
        const Captured out(1);
        answered.result = call();
        const std::string text = out.Text();
        const std::size_t end = text.find("\r\n\r\n");
        answered.header = text.substr(0, end == text.npos ? end : end + 4);
        answered.body = end == text.npos ? "" : text.substr(end + 4);
        return answered;
    }

    static VARN_MEDIA_INFO Song(const std::string &path, float duration) {
        VARN_MEDIA_INFO song{};
        std::strcpy(song.path, path.c_str());
        song.duration = duration;
        song.frequency = 44100;
        song.bitrate = 128000;
        return song;
    }

    static std::string SoundFile() { return scratch() / "sound"; }
    static std::string ArgumentFile() { return scratch() / "arguments"; }
};

}  // namespace tonvale_test
