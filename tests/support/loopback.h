// Ports of this machine's own address.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace tonvale_test {

// Gives a socket a free port on loopback, and returns the port.
inline int BindToLoopback(int fd) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *plain = reinterpret_cast<sockaddr *>(&address);
    EXPECT_TRUE(bind(fd, plain, length) == 0 && getsockname(fd, plain, &length) == 0);
    return ntohs(address.sin_port);
}

}  // namespace tonvale_test
