// What the verbs that list the library have in common: whose library, which tracks, which page.
#pragma once

#include <sys/types.h>
#include "verb.h"

#include <optional>
#include <string>
#include <vector>

#include "service/lists/list.h"

namespace tonvale_cli {

struct LibraryOptions : tonvale_service::ListRequest {
    LibraryOptions() {
        library = "all";
        limit = 100;
    }
    std::string user = "admin";
    std::string sortDirection = "asc";
    bool json = false;
};

// --user and --library.
void AddLibrary(const Verb &verb, LibraryOptions &options);
void AddFilters(const Verb &verb, tonvale_service::Filters &filters);
// --sort-by, whose names are those of `keys`, the first being the default, and --sort-direction,
// --offset, --limit and --json.
void AddPage(const Verb &verb, LibraryOptions &options, const std::vector<std::string> &keys,
             const std::string &noun);

// Completes the request and makes the database ready. False, with a message, when the root or the
// database is not. Throws a Failure for a library that the user may not browse.
bool OpenLibrary(LibraryOptions &options);

}  // namespace tonvale_cli
