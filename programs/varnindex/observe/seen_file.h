// A file as the walk has seen it.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

namespace varnindex {

// After the walk a link may be put in a file's place, in a home to what is not its owner's: what
// is opened has to be the same file, or the owner's.
struct SeenFile {
    dev_t device = 0;
    ino_t inode = 0;
    unsigned owner = 0;  // of the home that it is in; 0: any other file may take its place

    bool MayBe(const struct stat &opened) const {
        return owner == 0 || owner == opened.st_uid ||
               (device == opened.st_dev && inode == opened.st_ino);
    }
};

}  // namespace varnindex
