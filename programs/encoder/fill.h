// What keeps the sound at the length that is announced.
#pragma once

#include <string>
#include <vector>

// The encoder's words with two filters added. The first limits the sampling rate where MP3 has the
// bit rate at low sampling rates alone: the encoder would choose another bit rate. The second adds
// silence up to a second of the file, which the environment names (varn::kEncoderFill). Nothing can
// be added to a copy: samples of a WAV file that were to be copied are written again in their own
// form. Any other copy stays one and ends where the file ends.
std::vector<std::string> KeptToLength(std::vector<std::string> words);
