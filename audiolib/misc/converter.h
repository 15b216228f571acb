// The program that makes small pictures.
#pragma once

#include <string>

namespace Tonvale::misc {

// Makes a copy of a picture that fits in 480 by 480 pixels, within the time that the converter may
// take. The folder is the converter's own: its settings stand there, and the target. False when it
// fails.
bool Convert(const char *source, const std::string &folder, const std::string &target);

}  // namespace Tonvale::misc
