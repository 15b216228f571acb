// The program that makes small pictures.
#pragma once

#include <string>

namespace Tonvale::misc {

// Makes a copy of a picture that fits in a square of so many pixels a side, within the time that
// the converter may take. The folder is the converter's own: its settings stand there, and
// tonvale-converter uses the names of varn/systempath.h there in place of source and target. False
// when it fails.
bool Convert(const char *source, int side, const std::string &folder, const std::string &target);

}  // namespace Tonvale::misc
