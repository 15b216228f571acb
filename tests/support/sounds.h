// Sounds, made with the encoder of the host.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/fixture.h"
#include "support/spawn.h"

namespace tonvale_test {

// Runs the encoder. The last word is the file that it writes.
inline void Ffmpeg(std::vector<std::string> words) {
    words.insert(words.begin(), {"/usr/bin/ffmpeg", "-nostdin", "-v", "error", "-y"});
    Output(words);
}

// Writes what a source of ffmpeg's gives, with its options for the file. Returns the path.
inline std::string MakeSound(const std::string &path, const std::string &source,
                             const std::string &options = "") {
    std::vector<std::string> words = Words("-f lavfi -i " + source + " " + options);
    words.push_back(path);
    Ffmpeg(std::move(words));
    return path;
}

}  // namespace tonvale_test
