#include "varnindex/watch/notices.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <string_view>

#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varnindex {
namespace {

using varn::notify::Notice;
using varn::notify::ParseLine;

// A larger spool is refused: a scan of everything does what it asks for.
constexpr std::size_t kMostBytes = 16U << 20;

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

// The package's account owns the folder, and must not lead root to another file.
std::vector<Notice> TakeSpooledNotices() {
    const std::string path = SystemPath(varn::path::kNotifySpool);
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 ? errno == ENOENT : info.st_size == 0) {
        return {};
    }
    const Descriptor spool = OpenPlain(path, O_RDWR | O_NOFOLLOW, info);
    const bool isOurs = spool && info.st_nlink == 1 && ::flock(spool.Get(), LOCK_EX) == 0;
    const auto text = isOurs ? ReadWhole(spool, kMostBytes) : std::nullopt;
    if (!text || ::ftruncate(spool.Get(), 0) != 0) {
        throw SystemError(path);
    }
    std::vector<Notice> notices;
    for (std::string_view rest = *text; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        notices.push_back(ParseLine(line).value_or(Notice{true, 0, {}, {}}));
    }
    return notices;
}

// The lock, not the socket's file, tells who listens: the file outlives a crash.
NoticeSocket::NoticeSocket() {
    const varn::RunAs account(varn::Who::kPackage);
    const std::string path = SystemPath(varn::path::kNotifySocket);
    lock_ = Descriptor(::open((path + ".lock").c_str(),
                              O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644));
    if (lock_ && ::flock(lock_.Get(), LOCK_EX | LOCK_NB) == 0) {
        socket_ = Listen(path);
    } else if (!lock_ || errno != EWOULDBLOCK) {
        throw SystemError(path + ".lock");
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
