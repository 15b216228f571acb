#include "process_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include "varn/descriptor.h"

namespace tonvale_entry {

namespace {

constexpr std::ptrdiff_t kMostNewSockets = 8;

struct FolderCloser {
    void operator()(DIR *folder) const noexcept { closedir(folder); }
};

}  // namespace

ProcessState::ProcessState() = default;

ProcessState::Ids ProcessState::CurrentIds() {
    Ids ids{};
    getresuid(&ids.realUser, &ids.effectiveUser, &ids.savedUser);
    getresgid(&ids.realGroup, &ids.effectiveGroup, &ids.savedGroup);
    ids.groups.resize(static_cast<std::size_t>(std::max(0, getgroups(0, nullptr))));
    const int count = getgroups(static_cast<int>(ids.groups.size()), ids.groups.data());
    ids.groups.resize(static_cast<std::size_t>(std::max(0, count)));
    return ids;
}

std::vector<ProcessState::File> ProcessState::CurrentFiles() {
    std::vector<File> files;
    const std::unique_ptr<DIR, FolderCloser> folder(opendir("/proc/self/fd"));
    while (const dirent *const entry = folder ? readdir(folder.get()) : nullptr) {
        const int number = std::atoi(entry->d_name);  // "." and ".." are 0, which is not looked at
        struct stat info {};
        if (number > STDOUT_FILENO && number != dirfd(folder.get()) && fstat(number, &info) == 0) {
            files.push_back({number, info.st_dev, info.st_ino});
        }
    }
    return files;
}

ProcessState::File ProcessState::CurrentFolder() {
    struct stat info {};
    return stat(".", &info) == 0 ? File{0, info.st_dev, info.st_ino} : File{};
}

mode_t ProcessState::CurrentMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

std::vector<ProcessState::Handler> ProcessState::CurrentHandlers() {
    std::vector<Handler> handlers;
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        handlers.push_back(action.sa_handler);
    }
    return handlers;
}

std::vector<bool> ProcessState::CurrentBlocked() {
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    std::vector<bool> signals;
    for (int signal = 1; signal < NSIG; ++signal) {
        signals.push_back(sigismember(&blocked, signal) == 1);
    }
    return signals;
}

void ProcessState::RestoreIds() const {
    if (CurrentIds() == ids_ || ids_.savedUser != 0) {
        return;
    }
    // A step that fails shows in Changed.
    if (setresuid(ids_.realUser, 0, ids_.savedUser) == 0 &&
        setgroups(ids_.groups.size(), ids_.groups.data()) == 0 &&
        setresgid(ids_.realGroup, ids_.effectiveGroup, ids_.savedGroup) == 0) {
        [[maybe_unused]] const int failed =
            setresuid(ids_.realUser, ids_.effectiveUser, ids_.savedUser);
    }
}

bool ProcessState::AreFilesKept() const {
    std::ptrdiff_t kept = 0;
    std::ptrdiff_t sockets = 0;
    for (const File &file : CurrentFiles()) {
        struct stat info {};
        if (std::find(files_.begin(), files_.end(), file) != files_.end()) {
            ++kept;
        } else if (fstat(file.number, &info) == 0 && S_ISSOCK(info.st_mode)) {
            ++sockets;
        } else {
            return false;
        }
    }
    return kept == static_cast<std::ptrdiff_t>(files_.size()) && sockets <= kMostNewSockets;
}

const char *ProcessState::Changed() const {
    if (CurrentIds() != ids_) {
        return "ids";
    }
    if (CurrentFolder() != folder_) {
        return "the working directory";
    }
    if (CurrentMask() != mask_) {
        return "the umask";
    }
    if (CurrentHandlers() != handlers_ || CurrentBlocked() != blocked_) {
        return "signals";
    }
    if (waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD) {
        return "children";
    }
    return AreFilesKept() ? nullptr : "open files";
}

std::size_t MemoryInUse() {
    constexpr std::size_t kUnknown = std::numeric_limits<std::size_t>::max();
    const varn::UniqueFd file(open("/proc/self/statm", O_RDONLY | O_CLOEXEC));
    char text[128] = "";
    unsigned long resident = 0;
    unsigned long shared = 0;
    return file && read(file.Get(), text, sizeof text - 1) > 0 &&
                   std::sscanf(text, "%*u %lu %lu", &resident, &shared) == 2 && resident >= shared
               ? (resident - shared) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))
               : kUnknown;
}

}  // namespace tonvale_entry
