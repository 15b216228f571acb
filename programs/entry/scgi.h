// Requests as a web server sends them to a worker: SCGI.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "varn/descriptor.h"

namespace tonvale_entry {

struct ScgiRequest {
    std::vector<std::string> variables;  // "NAME=value", of the names that a request has
    varn::UniqueFd body;                 // a file of the process's own, at its beginning
};

// Reads a request from a connection. A body that is longer than a form may be is not read. Empty
// for a request that is none, is cut off, has more than 64 KiB of variables, or is not there after
// `patience`.
std::optional<ScgiRequest> ReadScgi(int connection, std::chrono::milliseconds patience);

}  // namespace tonvale_entry
