// Telling the indexer what changed among the files that it keeps in the library.
//
// A notice goes to the indexer that watches, at the local datagram socket
// "/var/run/Tonvale/varnindex.sock". When none listens, or it cannot keep up, the notice is
// appended to the file "/var/spool/Tonvale/notify", which the next indexer reads. In both it is one
// line: the code, the path and the old path, tabs between them; a backslash, tab or line feed
// within a path stands as \\, \t or \n. A spool that has grown to 4 MiB is replaced by the one line
// "*": look at everything.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "varn/export.h"

extern "C" {

// What happened to a path.
enum VLIB_NOTIFY {
    VLIB_NOTIFY_CHANGED = 2,
    VLIB_NOTIFY_CREATED = 64,
    VLIB_NOTIFY_DELETED = 128,  // the first argument is a playlist row's id, in decimal
    VLIB_NOTIFY_MOVED = 256,    // from the second argument to the first
};

// Sends a notice, or spools it. `pathOrId` is an absolute path of less than PATH_MAX bytes, or the
// id that VLIB_NOTIFY_DELETED takes; `oldPath` is such a path for VLIB_NOTIFY_MOVED and null or ""
// for every other code. Never waits for a reader, and at most 0.2 seconds for another writer of the
// spool. The package's account and root may call it, no other account of a real installation. 0
// when the notice is on its way, or -1 with the error state set.
VARN_EXPORT int VLIBVRNotify(const char *pathOrId, const char *oldPath, int code);

}  // extern "C"

namespace varn::notify {

struct Notice {
    bool everything = false;  // stands for all notices; nothing else of it is set then
    int code = 0;             // of VLIB_NOTIFY
    std::string pathOrId;
    std::string oldPath;
};

// The longest line: every byte of two paths escaped, and the code.
inline constexpr std::size_t kMaxLine = std::size_t{4} * 4096 + 16;

// True while an indexer listens to notices, as far as this account may know.
VARN_EXPORT bool IsListenedTo();

// Asks the indexer that listens to look at everything: the notice "*". False when none does.
VARN_EXPORT bool AskForEverything();

// Reads one line, with or without its line feed. Nothing when it is no notice that VLIBVRNotify
// would send.
VARN_EXPORT std::optional<Notice> ParseLine(std::string_view line);

}  // namespace varn::notify
