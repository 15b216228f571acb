// What goes wrong, on the standard error.
#pragma once

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

// Prints a message, with the program's name in front.
void Complain(const std::string &message);

// False, with its message, for a failure.
bool Succeeded(const varn::host::Outcome &done);

}  // namespace tonvale_cli
