// Sockets of this machine.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "support/eventually.h"

namespace tonvale_test {

inline sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline sockaddr_un LocalAddress(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

// Both take any of these addresses, and a socket of the address's family.
template <typename Address>
bool Bind(int fd, const Address &address) {
    return bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}
template <typename Address>
bool Connect(int fd, const Address &address) {
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Gives a socket a free port of the loopback address, and returns the port.
inline int BindToLoopback(int fd) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    EXPECT_TRUE(Bind(fd, LoopbackAddress(0)));
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

// A socket that listens at such a port, and the port.
inline int ListenOnLoopback(int &port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    port = BindToLoopback(fd);
    EXPECT_EQ(listen(fd, 16), 0);
    return fd;
}

// A free port below the range that the system hands out. Test programs that run side by side begin
// at different ones.
inline int UnusedPort() {
    static int next = 10'000 + getpid() * 61 % 20'000;
    for (bool isFree = false; !isFree; ++next) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        isFree = Bind(fd, LoopbackAddress(next));
        close(fd);
    }
    return next - 1;
}

// Waits until a program listens at a port of the loopback address.
inline bool UntilItListens(int port) {
    return Eventually([&] {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool connects = Connect(fd, LoopbackAddress(port));
        close(fd);
        return connects;
    });
}

inline int ConnectTo(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_TRUE(Connect(fd, LocalAddress(path))) << path;
    return fd;
}

}  // namespace tonvale_test
