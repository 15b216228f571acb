// Lists of the library that a client already has.
#pragma once

#include <string>

#include "request.h"

namespace tonvale_entry {

// The header of the answer to a request for a list that shows this version of the library ("" for
// one that is not known): with it as entity tag, where the answer may be asked for again.
std::string ListHeader(const Request &request, const std::string &shows);

// True when the client has what the request would be answered with. Its header is then in `header`.
bool HasList(const Request &request, std::string &header);

}  // namespace tonvale_entry
