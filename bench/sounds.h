// Audio files of real lengths whose sound is silence and, where no indexer reads, a hole on the
// disk.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

enum class Sound {
    kConstant,  // MP3 without a table
    kTable,     // MP3 of changing bit rates with a Xing table
    kNoTable,   // the same without one: nothing but counting its frames tells its length
    kFlac,
    kM4a,
};

// A song as it is to be written: what stands in front, and how it is tagged.
struct Song {
    Sound sound = Sound::kConstant;
    int seconds = 0;
    int number = 0;     // makes the sound different from every other
    std::string front;  // the tag of an MP3 file; of the others the file as far as its tags go
};

// What a FLAC or M4A file begins with, without tags: TagLib adds them.
std::string Head(const Song &song);

// Throws std::runtime_error.
void WriteSong(const std::string &path, const Song &song);

}  // namespace bench
