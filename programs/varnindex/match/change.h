// What becomes of a file that was read: from the stages that find it out to the one that writes.
#pragma once

#include "varnindex/read/readers.h"

namespace varnindex {

struct Change {
    enum class Kind {
        kAdd,   // a new row
        kEdit,  // the row of its path
        kMove,  // the row of another path
    };
    Kind kind = Kind::kAdd;
    int id = 0;  // of the row; 0: a new one
    ReadWork read = {};
};

}  // namespace varnindex
