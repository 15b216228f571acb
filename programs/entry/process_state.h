// What a request can change of the process that answers it.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

namespace tonvale_entry {

// The state of this process when the object is made. The variables of the environment and the
// standard streams are not part of it: a worker sets them anew for each request.
class ProcessState {
  public:
    ProcessState();

    // Gives the process its ids and groups back: calls of the library end as other accounts.
    void RestoreIds() const;

    // The first thing that is not as it was; null when all is. Sockets may have come: those of the
    // system log and of kept connections, up to a number.
    const char *Changed() const;

  private:
    struct Ids {
        uid_t realUser, effectiveUser, savedUser;
        gid_t realGroup, effectiveGroup, savedGroup;
        std::vector<gid_t> groups;
        bool operator==(const Ids &) const = default;
    };
    struct File {
        int number;
        dev_t device;
        ino_t inode;
        bool operator==(const File &) const = default;
    };
    using Handler = void (*)(int);

    static Ids CurrentIds();
    static std::vector<File> CurrentFiles();
    static File CurrentFolder();
    static mode_t CurrentMask();
    static std::vector<Handler> CurrentHandlers();
    static std::vector<bool> CurrentBlocked();
    bool AreFilesKept() const;

    Ids ids_ = CurrentIds();
    std::vector<File> files_ = CurrentFiles();
    File folder_ = CurrentFolder();
    mode_t mask_ = CurrentMask();
    std::vector<Handler> handlers_ = CurrentHandlers();
    std::vector<bool> blocked_ = CurrentBlocked();
};

// The memory that this process has to itself, in bytes; as much as there can be when that cannot be
// told.
std::size_t MemoryInUse();

}  // namespace tonvale_entry
