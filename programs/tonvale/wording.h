// What the command line says of a failure.
#pragma once

#include <string>

#include "service/base/failure.h"

namespace tonvale_cli {

// One line in plain English, printable, with what to do next where that is known.
std::string Worded(const tonvale_service::Failure &failure);

}  // namespace tonvale_cli
