// Lists of the library that a client already has.
#pragma once

#include <string>

#include "request.h"

namespace tonvale_entry {

// The header of a list's answer. `shows` is the version of the library that the list shows, "" if
// it is not known. Where the client may ask again, the header has an entity tag of it.
std::string ListHeader(const Request &request, const std::string &shows);

// True when the client has the answer to this request already. `header` is then that of a 304.
bool HasList(const Request &request, std::string &header);

}  // namespace tonvale_entry
