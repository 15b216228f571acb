// What goes wrong, on the standard error.
#pragma once

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

// Prints a failure's message.
void Complain(const std::string &message);

// True for what went well; false, with its message, otherwise.
bool Succeeded(const varn::host::Outcome &done);

}  // namespace tonvale_cli
