#include "varnindex/read/ea_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace varnindex {

Descriptor OpenEaFile(const Descriptor &folder, const std::string &name) {
    Descriptor file(::openat(folder.Get(), name.c_str(),
                             O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat info {};
    if (file && ::fstat(file.Get(), &info) == 0 && !S_ISREG(info.st_mode)) {
        file = Descriptor();
        errno = EINVAL;
    }
    return file;
}

bool WriteEaFile(const Descriptor &folder, const std::string &name, const char *temporary,
                 std::string_view data, Descriptor *same) {
    ::unlinkat(folder.Get(), temporary, 0);
    const bool isLinked =
        same != nullptr && *same &&
        ::linkat(AT_FDCWD, ("/proc/self/fd/" + std::to_string(same->Get())).c_str(), folder.Get(),
                 temporary, AT_SYMLINK_FOLLOW) == 0;
    Descriptor file;
    if (!isLinked) {
        file = Descriptor(::openat(folder.Get(), temporary,
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file) {
            return false;
        }
    }
    if ((isLinked || (varn::WriteAll(file.Get(), data) && ::fchmod(file.Get(), 0644) == 0)) &&
        ::renameat(folder.Get(), temporary, folder.Get(), name.c_str()) == 0) {
        if (same != nullptr && file) {
            *same = std::move(file);
        }
        return true;
    }
    const int error = errno;
    ::unlinkat(folder.Get(), temporary, 0);
    errno = error;
    return false;
}

}  // namespace varnindex
