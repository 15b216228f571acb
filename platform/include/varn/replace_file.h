// Files that are replaced whole.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "varn/export.h"

namespace varn {

struct FileOwner {
    uid_t uid;
    gid_t gid;
};

// Puts a text into a file, new or not. A reader finds the old text or the new one, also after the
// process was killed or the machine has stopped: the text is written to a file of its own in the
// same folder and synced, takes the name by rename(2), and the folder is synced. A link is replaced
// and not followed. The file gets `mode`, whatever the umask, and `owner`; null: the effective ids
// of the process. False with errno set. The old text is then still there, with one exception: if
// only the folder could not be synced, the new text is there, and a crash of the machine may bring
// the old one back.
VARN_EXPORT bool ReplaceFile(const std::string &path, std::string_view text, mode_t mode,
                             const FileOwner *owner = nullptr);

}  // namespace varn
