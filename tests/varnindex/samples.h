// Real audio files for the indexer's tests, made by ffmpeg once per run.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/sounds.h"

namespace tonvale_test {

// Writes a second of a tone, with tags when `tagged` is set.
void MakeTone(const std::filesystem::path &path, const std::string &encoder, bool tagged,
              const std::vector<std::string> &options = {});

// The folder of the samples: tone.EXT in eleven formats, alac.m4a, fragments.m4a, and plain.mp3
// without tags.
const std::filesystem::path &Samples();

}  // namespace tonvale_test
