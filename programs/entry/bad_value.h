// Which parameter a failure of the service layer is about.
#pragma once

#include <string>

#include "request.h"
#include "service/base/failure.h"

namespace tonvale_entry {

// Of a value that nothing can be done with: the parameter of its kind that is given, of several the
// one that has the value; where none is given, the one that is missing. "" for other failures, and
// where it cannot be told.
std::string ParameterOf(const tonvale_service::Failure &failure, const Request &asked);

}  // namespace tonvale_entry
