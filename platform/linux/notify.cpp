#include "varn/notify.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <ctime>
#include <utility>
#include <vector>

#include "linux/error.h"
#include "linux/files.h"
#include "varn/path.h"
#include "varn/systempath.h"

namespace varn::notify {
namespace {

constexpr off_t kSpoolLimit = off_t{4} << 20;
constexpr std::string_view kEverything = "*";

// Long enough for another writer's few lines, and too short to be noticed by a request.
constexpr int kLockTries = 100;
constexpr timespec kLockPause = {0, 2'000'000};

bool IsPath(std::string_view text) {
    return text.starts_with('/') && text.size() < PATH_MAX && !HasParentStep(text) &&
           text.find('\0') == text.npos;
}

bool IsId(std::string_view text) {
    constexpr std::size_t kMostDigits = 10;
    return !text.empty() && text.size() <= kMostDigits &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsSound(int code, std::string_view pathOrId, std::string_view oldPath) {
    switch (code) {
        case VLIB_NOTIFY_CHANGED:
        case VLIB_NOTIFY_CREATED:
            return IsPath(pathOrId) && oldPath.empty();
        case VLIB_NOTIFY_DELETED:
            return IsId(pathOrId) && oldPath.empty();
        case VLIB_NOTIFY_MOVED:
            return IsPath(pathOrId) && IsPath(oldPath);
        default:
            return false;
    }
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '\\':
                escaped += "\\\\";
                break;
            case '\t':
                escaped += "\\t";
                break;
            case '\n':
                escaped += "\\n";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::optional<std::string> Unescaped(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            plain += text[at];
            continue;
        }
        constexpr std::string_view kNames = "\\tn";
        constexpr std::string_view kMeant = "\\\t\n";
        const std::size_t which = ++at < text.size() ? kNames.find(text[at]) : kNames.npos;
        if (which == kNames.npos) {
            return std::nullopt;
        }
        plain += kMeant[which];
    }
    return plain;
}

std::vector<std::string_view> Fields(std::string_view line) {
    std::vector<std::string_view> fields;
    for (std::size_t end = line.find('\t'); end != line.npos; end = line.find('\t')) {
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end + 1);
    }
    fields.push_back(line);
    return fields;
}

// Empty when nobody listens.
UniqueFd Listener() {
    const std::string path = SystemPath(path::kNotifySocket);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // Linux needs no NUL after a path that fills its field, as below the longest root.
    if (path.size() > sizeof address.sun_path) {
        return UniqueFd();
    }
    path.copy(address.sun_path, path.size());
    UniqueFd sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return sender && connect(sender.Get(), reinterpret_cast<const sockaddr *>(&address),
                             sizeof address) == 0
               ? std::move(sender)
               : UniqueFd();
}

// False when nobody listens or the listener has too much to do already.
bool Send(std::string_view line) {
    const UniqueFd listener = Listener();
    return listener && send(listener.Get(), line.data(), line.size(),
                            MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(line.size());
}

// The package's account owns the folder and could put a link to another file there: root must not
// be led to it. Fails with errno set.
bool IsOwnPlainFile(int fd) {
    struct stat info {};
    if (fstat(fd, &info) != 0) {
        return false;
    }
    if (!S_ISREG(info.st_mode) || info.st_nlink != 1) {
        errno = EPERM;
        return false;
    }
    return true;
}

// The spool belongs to the folder's owner, also if another account writes the first line. Fails with
// errno set.
UniqueFd OpenSpool() {
    constexpr int kFlags = O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const UniqueFd folder(
        open(SystemPath(path::kSpoolDir).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string name(path::kNotifySpool.substr(path::kSpoolDir.size() + 1));
    if (!folder) {
        return UniqueFd();
    }
    UniqueFd spool(openat(folder.Get(), name.c_str(), kFlags));
    if (!spool && errno == ENOENT) {
        spool.Reset(openat(folder.Get(), name.c_str(), kFlags | O_CREAT, 0644));
    }
    struct stat owner {};
    if (!spool || !IsOwnPlainFile(spool.Get()) || fstat(folder.Get(), &owner) != 0 ||
        (geteuid() == 0 && fchown(spool.Get(), owner.st_uid, owner.st_gid) != 0)) {
        return UniqueFd();
    }
    return spool;
}

bool Lock(int fd) {
    for (int tries = 0; tries < kLockTries; ++tries) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        nanosleep(&kLockPause, nullptr);
    }
    errno = EWOULDBLOCK;
    return false;
}

// A line that could not be written whole is taken back. False with errno set.
bool Append(int fd, std::string_view line) {
    struct stat before {};
    if (fstat(fd, &before) != 0) {
        return false;
    }
    if (before.st_size + static_cast<off_t>(line.size()) > kSpoolLimit) {
        return ftruncate(fd, 0) == 0 && WriteAll(fd, std::string(kEverything) + "\n");
    }
    if (WriteAll(fd, line)) {
        return true;
    }
    const int error = errno;
    if (ftruncate(fd, before.st_size) == 0) {
        errno = error;
    }
    return false;
}

bool Spool(std::string_view line) {
    const UniqueFd spool = OpenSpool();
    return spool && Lock(spool.Get()) && Append(spool.Get(), line);
}

}  // namespace

bool IsListenedTo() {
    return Guarded(false, [] { return static_cast<bool>(Listener()); });
}

// A listener that is busy looks at the spool when it is done.
bool AskForEverything() {
    return Guarded(false, [] {
        return IsListenedTo() && (Send(kEverything) || Spool(std::string(kEverything) + "\n"));
    });
}

std::optional<Notice> ParseLine(std::string_view line) {
    if (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    if (line == kEverything) {
        return Notice{.everything = true, .code = 0, .pathOrId = {}, .oldPath = {}};
    }
    const auto fields = Fields(line);
    if (fields.size() != 3) {
        return std::nullopt;
    }
    int code = 0;
    const auto [end, error] =
        std::from_chars(fields[0].data(), fields[0].data() + fields[0].size(), code);
    const auto pathOrId = Unescaped(fields[1]);
    const auto oldPath = Unescaped(fields[2]);
    if (error != std::errc() || end != fields[0].data() + fields[0].size() || !pathOrId ||
        !oldPath || !IsSound(code, *pathOrId, *oldPath)) {
        return std::nullopt;
    }
    return Notice{.everything = false, .code = code, .pathOrId = *pathOrId, .oldPath = *oldPath};
}

}  // namespace varn::notify

int VLIBVRNotify(const char *pathOrId, const char *oldPath, int code) {
    using namespace varn::notify;
    return varn::Guarded(-1, [&] {
        const std::string_view first = pathOrId != nullptr ? pathOrId : "";
        const std::string_view second = oldPath != nullptr ? oldPath : "";
        if (!IsSound(code, first, second)) {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
            return -1;
        }
        const std::string line =
            std::to_string(code) + "\t" + Escaped(first) + "\t" + Escaped(second) + "\n";
        if (!Send(line) && !Spool(line)) {
            varn::SetSystemError();
            return -1;
        }
        return 0;
    });
}
