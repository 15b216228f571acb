// The tree of another media server's objects on the standard output.
#pragma once

#include "service/devices/media_server.h"

namespace tonvale_cli {

// Asks for the object, or what is in it, page by page, and prints what comes. The exit status.
int Browse(const tonvale_service::BrowseQuestion &question, bool json);

}  // namespace tonvale_cli
