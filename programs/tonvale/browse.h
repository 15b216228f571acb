// The tree of another media server's objects on the standard output.
#pragma once

#include <string>

namespace tonvale_cli {

struct BrowseOptions {
    std::string url;       // of the server's ContentDirectory
    std::string id = "0";  // the root
    bool metadata = false;
    int depth = 1;
    int offset = 0;
    int limit = 0;
    bool json = false;
};

// Asks for the object, or what is in it, page by page, and prints what comes. The exit status.
int Browse(const BrowseOptions &options);

}  // namespace tonvale_cli
