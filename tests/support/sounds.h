// Sounds, made with the encoder of the host.
#pragma once

#include <string>
#include <vector>

#include "support/spawn.h"

namespace tonvale_test {

// Runs the encoder. The last word is the file that it writes.
void Ffmpeg(std::vector<std::string> words);

// Writes what a source of ffmpeg's gives, with its options for the file. Returns the path.
std::string MakeSound(const std::string &path, const std::string &source,
                      const std::string &options = "");

}  // namespace tonvale_test
