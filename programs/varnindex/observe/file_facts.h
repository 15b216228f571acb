// What the walk finds out about a file, as all stages carry it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "varnindex/observe/seen_file.h"

namespace varnindex {

class FolderSheets;

struct FileFacts {
    std::string path;
    std::int64_t size = 0;                      // bytes
    std::int64_t modified = 0;                  // microseconds since 1970, UTC
    unsigned userid = 0;                        // owner; 0: shared
    std::shared_ptr<FolderSheets> sheets = {};  // of its folder; null where there are none
    bool hasAttributes = false;                 // an extended-attribute folder is beside it
    SeenFile seen = {};
};

}  // namespace varnindex
