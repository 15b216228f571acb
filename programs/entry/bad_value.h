// Which parameter a failure of the service layer is about.
#pragma once

#include <string>

#include "request.h"
#include "service/base/failure.h"

namespace tonvale_entry {

// For a bad value: the parameter of its kind that was given, of several the one with the value; if
// none was given, the one that is missing. "" for other failures, and if it cannot be told.
std::string ParameterOf(const tonvale_service::Failure &failure, const Request &asked);

}  // namespace tonvale_entry
