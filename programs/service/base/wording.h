// Failures in plain English.
#pragma once

#include <string>

#include "service/base/failure.h"

namespace tonvale_service {

// What is said of a failure without words of its own, and when there is no room for a request: by
// the web API, or by the web server in its place.
inline constexpr char kThatFailed[] = "that failed, and the log of the server tells why";
inline constexpr char kServerIsBusy[] = "the server is busy; try again in a few seconds";

// What went wrong, without a full stop. Of a path the last name alone is told: it is for users who
// need not know this machine's folders.
std::string WhatFailed(const Failure &failure);

// For the command line: the same with whole paths, and what to do next where that is known.
std::string WhatFailedAndNext(const Failure &failure);

}  // namespace tonvale_service
