// Sounds, made with the encoder of the host.
#pragma once

#include <string>
#include <vector>

#include "support/fixture.h"
#include "support/spawn.h"

namespace tonvale_test {

// Writes what a source of ffmpeg's gives, with its options for the file. Returns the path.
inline std::string MakeSound(const std::string &path, const std::string &source,
                             const std::string &options = "") {
    std::vector<std::string> words =
        Words("/usr/bin/ffmpeg -nostdin -v error -y -f lavfi -i " + source + " " + options);
    words.push_back(path);
    Output(words);
    return path;
}

}  // namespace tonvale_test
