#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/files.h"
#include "linux/memory.h"
#include "varn/base.h"
#include "varn/eadir.h"
#include "varn/path.h"
#include "varn/share.h"

namespace {

constexpr std::string_view kFolderName = "@eaDir";
constexpr mode_t kEveryUser = 0777;

struct SplitPath {
    std::string folder;  // with a slash at its end; "" without a folder
    std::string name;
};

SplitPath SplitLast(std::string_view path) {
    path = varn::WithoutTrailingSlashes(path);
    const std::size_t nameAt = path.rfind('/') + 1;  // 0 without a slash
    return {std::string(path.substr(0, nameAt)), std::string(path.substr(nameAt))};
}

// True for what can be the name of a file, where "." and ".." name other places.
bool IsFileName(const std::string &name) {
    return !name.empty() && name != "." && name != "..";
}

// Makes a folder with its mode at once: everybody may write where these folders stand, and could
// lead a later chmod to another folder.
int MakeForAll(int parent, const std::string &name) {
    static std::mutex oneAtATime;  // the umask is the whole process's
    const std::lock_guard lock(oneAtATime);
    const mode_t before = umask(0);
    const int made = mkdirat(parent, name.c_str(), kEveryUser);
    umask(before);
    return made;
}

enum class Missing { kStays, kIsMade };

// Opens a folder below `parent`. Symbolic links are refused.
varn::UniqueFd OpenBelow(int parent, const std::string &name, Missing missing) {
    constexpr int kFolderOnly = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    varn::UniqueFd folder(openat(parent, name.c_str(), kFolderOnly));
    if (!folder && missing == Missing::kIsMade && errno == ENOENT &&
        (MakeForAll(parent, name) == 0 || errno == EEXIST)) {
        folder.Reset(openat(parent, name.c_str(), kFolderOnly));
    }
    return folder;
}

// Opens FOLDER/@eaDir/NAME, of which FOLDER exists. Empty with errno set.
varn::UniqueFd Open(const std::string &eaDir, Missing missing) {
    const SplitPath last = SplitLast(eaDir);
    const SplitPath middle = SplitLast(last.folder);
    if (!IsFileName(last.name) || !IsFileName(middle.name) || middle.folder.empty()) {
        errno = EINVAL;
        return varn::UniqueFd();
    }
    const varn::UniqueFd folder(open(middle.folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return varn::UniqueFd();
    }
    const varn::UniqueFd parent = OpenBelow(folder.Get(), middle.name, missing);
    return parent ? OpenBelow(parent.Get(), last.name, missing) : varn::UniqueFd();
}

}  // namespace

int VARNEADirPath(const char *path, char *out, size_t size) {
    if (out != nullptr && size > 0) {
        out[0] = '\0';
    }
    if (!NonEmptyStr(path) || out == nullptr || size == 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const SplitPath split = SplitLast(path);
        if (split.folder.empty() || !IsFileName(split.name)) {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
            return -1;
        }
        std::string eaDir = split.folder;
        eaDir.append(kFolderName).append("/").append(split.name);
        if (!varn::CopyToBuffer(eaDir, out, size)) {
            varn::SetError(VLIB_ERR_TOO_LONG);
            return -1;
        }
        return 0;
    });
}

int VARNEAOpenDir(const char *eaDir) {
    if (!NonEmptyStr(eaDir)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        varn::UniqueFd folder = Open(eaDir, Missing::kIsMade);
        if (!folder) {
            varn::SetSystemError();
        }
        return folder.Release();
    });
}

int VARNEAMKDir(const char *eaDir) {
    return varn::UniqueFd(VARNEAOpenDir(eaDir)) ? 0 : -1;
}

varn::UniqueFd varn::OpenEADir(const std::string &eaDir) {
    return Open(eaDir, Missing::kStays);
}
