// Sockets of this machine.
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace tonvale_test {

sockaddr_in LoopbackAddress(int port);
sockaddr_un LocalAddress(const std::string &path);

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
int BindToLoopback(int fd);

// A socket that listens at such a port, and the port.
int ListenOnLoopback(int &port);

// A free port below the range that the system hands out. Test programs that run side by side begin
// at different ones.
int UnusedPort();

// Waits until a program listens at a port of the loopback address.
bool UntilItListens(int port);

int ConnectTo(const std::string &path);

}  // namespace tonvale_test
