// Programs of ffmpeg's, asked about a file.
#pragma once

#include <string>
#include <vector>

namespace varnindex {

// What a program prints about an open file, which it finds at /proc/self/fd/0. It runs through
// tonvale-prober, which bounds its rights, time and memory; the program is the first of the words.
// "" where it failed, was ended, or printed more than a large picture takes. Throws
// std::runtime_error where it cannot be run.
std::string AskProber(int file, std::vector<std::string> words);

}  // namespace varnindex
