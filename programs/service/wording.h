// Failures in plain English.
#pragma once

#include <string>

#include "failure.h"

namespace tonvale_service {

// What went wrong, without a full stop. Of a path the last name alone is told: it is for users who
// need not know this machine's folders.
std::string WhatFailed(const Failure &failure);

// For the command line: the same with whole paths, and what to do next where that is known.
std::string WhatFailedAndNext(const Failure &failure);

}  // namespace tonvale_service
