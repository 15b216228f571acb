#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "ctrl/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using Tonvale::ctrl::kSocket;
using Tonvale::support::Guarded;

constexpr mode_t kSocketMode = 0764;
constexpr int kHighestPort = 65535;

// A socket that closes itself until it is handed out; errno stays as the failure left it.
class Socket {
  public:
    explicit Socket(int domain) : fd_(socket(domain, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (fd_ < 0) {
            LOG_ERROR(kSocket, "Failed to connect socket.");
        }
    }
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    int Get() const { return fd_; }

    template <typename Address>
    bool Bind(const Address &address) const {
        return bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }

    // The descriptor of the listening socket, or -1.
    int Listen(int backlog) {
        if (listen(fd_, backlog) != 0) {
            LOG_ERROR(kSocket, "Failed to listen socket.");
            return -1;
        }
        return std::exchange(fd_, -1);
    }

  private:
    int fd_;
};

int ListenAt(const char *path, int backlog) {
    Socket listener(AF_UNIX);
    if (!listener) {
        return -1;
    }
    unlink(path);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    if (!listener.Bind(address)) {
        LOG_ERROR(kSocket, "Failed to bind socket.");
        return -1;
    }
    return listener.Listen(backlog);
}

// Neither goes through a link: the package may write to the folder. The number of the package's
// user serves as a group: systems that this runs on give an account a group of its own number.
void HandOver(const char *path) {
    if (fchmodat(AT_FDCWD, path, kSocketMode, AT_SYMLINK_NOFOLLOW) != 0) {
        LOG_ERROR(kSocket, "Failed to chmod [%s] %m", path);
    }
    if (lchown(path, 0, GetUserIdFromName(varn::kPackageAccount)) != 0) {
        LOG_ERROR(kSocket, "Failed to chown  [%s] %m", path);
    }
}

// Binds to the port or the first free one above it. False with errno set.
bool BindFrom(const Socket &listener, int &port) {
    if (port < 0 || port > kHighestPort) {
        errno = EADDRNOTAVAIL;
        return false;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    for (;; ++port) {
        address.sin_port = htons(static_cast<in_port_t>(port));
        if (listener.Bind(address)) {
            return true;
        }
        if (errno != EADDRINUSE || port >= kHighestPort) {
            return false;
        }
    }
}

}  // namespace

int DomainSocketCreate(const char *path, int backlog) noexcept {
    // An empty address would be a nameless socket of the whole machine, without mode or owner.
    if (!NonEmptyStr(path)) {
        LOG_ERROR(kSocket, "Bad parameter");
        return -1;
    }
    return Guarded(kSocket, -1, [&] {
        const int listener = ListenAt(path, backlog);
        HandOver(path);
        return listener;
    });
}

int DACPSocketCreate(int *port, int backlog) noexcept {
    if (port == nullptr) {
        LOG_ERROR(kSocket, "Bad parameter");
        return -1;
    }
    return Guarded(kSocket, -1, [&] {
        Socket listener(AF_INET);
        if (!listener) {
            return -1;
        }
        if (!BindFrom(listener, *port)) {
            LOG_ERROR(kSocket, "Failed to bind port %d.", *port);
            return -1;
        }
        return listener.Listen(backlog);
    });
}

int SocketAccept(int listener) noexcept {
    if (listener < 0) {
        LOG_ERROR(kSocket, "Bad parameter");
        return -1;
    }
    pollfd entry = {listener, POLLIN, 0};
    if (poll(&entry, 1, 0) <= 0) {
        return -1;
    }
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0 && errno != EAGAIN) {
        LOG_ERROR(kSocket, "Failed to accept client. [%m]");
    }
    return client;
}
