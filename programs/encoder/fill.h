// The silence behind a song that ends before its announced length.
#pragma once

#include <string>
#include <vector>

// The encoder's words with what fills its sound with silence up to the second of the file that the
// environment names (varn::kEncoderFill); as they are where it names none. Samples that were to be
// copied are written again instead, in the form in which they are, because silence cannot be added
// to a copy; what is no such file stays a copy and ends where it ends.
std::vector<std::string> Filled(std::vector<std::string> words);
