// What the walk finds out about a file, as all stages carry it.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace varnindex {

class FolderSheets;

// After the walk somebody may put a link in a file's place, in a home also to other users' files:
// what is opened has to be the same file, or the owner's.
struct SeenFile {
    dev_t device = 0;
    ino_t inode = 0;
    unsigned owner = 0;  // of the home that it is in; 0: any other file may take its place

    bool MayBe(const struct stat &opened) const {
        return owner == 0 || owner == opened.st_uid ||
               (device == opened.st_dev && inode == opened.st_ino);
    }
};

struct FileFacts {
    std::string path;
    std::int64_t size = 0;                      // bytes
    std::int64_t modified = 0;                  // microseconds since 1970, UTC
    unsigned userid = 0;                        // owner; 0: shared
    std::shared_ptr<FolderSheets> sheets = {};  // of its folder; null where there are none
    bool hasAttributes = false;                 // an extended-attribute folder is beside it
    SeenFile seen = {};
};

// One find of the walk: of a file its facts but for the owner, of anything else the path; with "/"
// at its end it stands for everything below that folder.
struct Found : FileFacts {
    enum class Kind {
        kFile,     // a regular file of a wanted name
        kBlocked,  // what is at `path` could not be looked at
        kAbsent,   // a link leads nowhere
        kEmpty,    // a folder has nothing in it; a disk may be missing there
        kRefused,  // a name that the library cannot hold, or another owner's through a link
    };

    Kind kind = Kind::kFile;
    std::string reason = {};  // for a person, of all kinds but kFile
};

}  // namespace varnindex
