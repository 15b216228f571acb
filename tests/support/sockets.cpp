#include "support/sockets.h"

#include <gtest/gtest.h>

#include "support/eventually.h"

namespace tonvale_test {

sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

sockaddr_un LocalAddress(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int BindToLoopback(int fd) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    EXPECT_TRUE(Bind(fd, LoopbackAddress(0)));
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

int ListenOnLoopback(int &port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    port = BindToLoopback(fd);
    EXPECT_EQ(listen(fd, 16), 0);
    return fd;
}

int UnusedPort() {
    static int next = 10'000 + getpid() * 61 % 20'000;
    for (bool isFree = false; !isFree; ++next) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        isFree = Bind(fd, LoopbackAddress(next));
        close(fd);
    }
    return next - 1;
}

bool UntilItListens(int port) {
    return Eventually([&] {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool connects = Connect(fd, LoopbackAddress(port));
        close(fd);
        return connects;
    });
}

int ConnectTo(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_TRUE(Connect(fd, LocalAddress(path))) << path;
    return fd;
}

}  // namespace tonvale_test
