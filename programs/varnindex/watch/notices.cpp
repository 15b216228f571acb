#include "varnindex/watch/notices.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varnindex {
namespace {

using varn::notify::Notice;
using varn::notify::ParseLine;

// A larger spool is refused: a scan of everything does what it asks for.
constexpr std::size_t kMostBytes = 256U << 20;

std::string SpoolPath() {
    return SystemPath(varn::path::kNotifySpool);
}

// Where the notices stand that are being worked off.
std::string TakenPath() {
    return SpoolPath() + ".taken";
}

std::string LockPath() {
    return SystemPath(varn::path::kNotifySocket) + ".lock";
}

// Opens a file of the package's folders; none when there is no such file. Only a plain file under
// its one name: whoever owns the folder must not lead root elsewhere.
Descriptor OpenPlain(const std::string &path, int flags) {
    Descriptor fd(::open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644));
    if (!fd && errno == ENOENT) {
        return fd;
    }
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        throw SystemError(path);
    }
    if (!S_ISREG(info.st_mode) || info.st_nlink != 1) {
        errno = EPERM;
        throw SystemError(path);
    }
    return fd;
}

std::string ReadText(const Descriptor &fd, const std::string &path) {
    auto text = ReadWhole(fd, kMostBytes);
    if (!text) {
        throw SystemError(path);
    }
    return std::move(*text);
}

void WriteWhole(const Descriptor &fd, std::string_view text, const std::string &path) {
    if (!varn::WriteAll(fd.Get(), text)) {
        throw SystemError(path);
    }
}

void Lock(const Descriptor &fd, const std::string &path) {
    while (::flock(fd.Get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            throw SystemError(path);
        }
    }
}

bool HasText(const std::string &path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && info.st_size > 0;
}

// The file of the taken notices for this process alone; none when another one works on it.
Descriptor OpenTaken() {
    for (;;) {
        const varn::RunAs account(varn::Who::kPackage);  // the library sends as that account
        Descriptor taken = OpenPlain(TakenPath(), O_RDWR | O_APPEND | O_CREAT);
        if (!taken) {
            throw SystemError(TakenPath());
        }
        if (::flock(taken.Get(), LOCK_EX | LOCK_NB) != 0) {
            return Descriptor();
        }
        struct stat info {};
        if (::fstat(taken.Get(), &info) == 0 && info.st_nlink == 1) {
            return taken;
        }
        // Whoever held the lock before was done with it, and removed the file.
    }
}

// Moves the spooled lines to those that were taken before. Cut short, it leaves them at both
// places and perhaps a cut line, which the next text ends first.
void MoveAside(const Descriptor &taken) {
    const std::string path = SpoolPath();
    const Descriptor spool = OpenPlain(path, O_RDWR);
    if (!spool) {
        return;
    }
    Lock(spool, path);
    const std::string text = ReadText(spool, path);
    WriteWhole(taken, "\n" + text, TakenPath());
    if (::fdatasync(taken.Get()) != 0 || ::ftruncate(spool.Get(), 0) != 0) {
        throw SystemError(path);
    }
}

Requests ParseSpool(std::string_view text) {
    Requests requests;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.empty()) {
            continue;
        }
        const auto notice = ParseLine(line);
        // Nobody knows what a line that was cut meant.
        requests.Add(notice ? *notice : Notice{true, 0, {}, {}});
    }
    return requests;
}

// A socket for the owner only, at a path where the file of a process that crashed may stand.
Descriptor Listen(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // Linux needs no NUL after a path that fills its field.
    if (path.size() > sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        throw SystemError(path);
    }
    path.copy(address.sun_path, path.size());
    Descriptor receiver(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!receiver || (::unlink(path.c_str()) != 0 && errno != ENOENT)) {
        throw SystemError(path);
    }
    const mode_t umaskBefore = ::umask(0177);
    const int bound =
        ::bind(receiver.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    ::umask(umaskBefore);
    if (bound != 0) {
        throw SystemError(path);
    }
    return receiver;
}

}  // namespace

void Requests::Add(const Notice &notice) {
    if (notice.everything) {
        everything = true;
        return;
    }
    if (notice.code == VLIB_NOTIFY_DELETED) {
        ids.push_back(notice.pathOrId);
        return;
    }
    paths.push_back(notice.pathOrId);
    if (notice.code == VLIB_NOTIFY_MOVED) {
        paths.push_back(notice.oldPath);
    }
}

SpooledNotices TakeSpooledNotices() {
    SpooledNotices notices;
    if (!HasText(SpoolPath()) && !HasText(TakenPath())) {
        return notices;
    }
    notices.taken_ = OpenTaken();
    if (notices.taken_) {
        MoveAside(notices.taken_);
        notices.requests_ = ParseSpool(ReadText(notices.taken_, TakenPath()));
    }
    return notices;
}

void SpooledNotices::Done() {
    if (taken_ && ::unlink(TakenPath().c_str()) != 0 && errno != ENOENT) {
        throw SystemError(TakenPath());
    }
    *this = SpooledNotices();
}

// The lock, not the socket's file, tells who listens: the file outlives a crash.
NoticeSocket::NoticeSocket() {
    const varn::RunAs account(varn::Who::kPackage);
    lock_ = OpenPlain(LockPath(), O_RDONLY | O_CREAT);
    if (!lock_) {
        throw SystemError(LockPath());
    }
    if (::flock(lock_.Get(), LOCK_EX | LOCK_NB) == 0) {
        socket_ = Listen(SystemPath(varn::path::kNotifySocket));
    } else if (errno != EWOULDBLOCK) {
        throw SystemError(LockPath());
    }
}

NoticeSocket::~NoticeSocket() {
    if (socket_) {
        ::unlink(SystemPath(varn::path::kNotifySocket).c_str());
    }
}

std::optional<Notice> NoticeSocket::Receive() {
    std::array<char, varn::notify::kMaxLine> line;
    for (;;) {
        const ssize_t got = ::recv(socket_.Get(), line.data(), line.size(), MSG_DONTWAIT);
        if (got >= 0) {
            const std::string_view text(line.data(), static_cast<std::size_t>(got));
            if (auto notice = ParseLine(text)) {
                return notice;
            }
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
}

}  // namespace varnindex
