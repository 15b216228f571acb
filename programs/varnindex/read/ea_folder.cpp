#include "varnindex/read/ea_folder.h"

#include <utility>

#include "varn/path.h"
#include "varn/share.h"

namespace varnindex {

std::optional<std::string> EaFolderOf(const std::string &path) {
    varn::PathBuffer folder;
    if (VARNEADirPath(path.c_str(), folder.data(), folder.size()) != 0) {
        return std::nullopt;
    }
    return folder.data();
}

std::optional<std::string> ReadEaFile(const Descriptor &folder, const std::string &name,
                                      std::size_t most) {
    struct stat info {};
    const Descriptor file = OpenPlain(name, O_RDONLY | O_NOFOLLOW, info, folder.Get());
    return file ? ReadWhole(file, most) : std::nullopt;
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
