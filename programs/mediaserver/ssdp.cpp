#include "mediaserver/ssdp.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace mediaserver {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kGroup[] = "239.255.255.250";
constexpr uint16_t kPort = 1900;
constexpr unsigned char kHops = 4;
constexpr std::string_view kTarget = "urn:schemas-upnp-org:service:ContentDirectory:1";
constexpr int kRepeats = 2;  // datagrams get lost

class Socket {
  public:
    Socket() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    int fd() const { return fd_; }

  private:
    int fd_;
};

std::string AddressText(const sockaddr_in &address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data();
}

std::string Question(const sockaddr_in &to) {
    return "M-SEARCH * HTTP/1.1\r\n"
           "HOST: " +
           AddressText(to) + ":" + std::to_string(ntohs(to.sin_port)) +
           "\r\n"
           "MAN: \"ssdp:discover\"\r\n"
           "MX: 1\r\n"
           "ST: " +
           std::string(kTarget) + "\r\n\r\n";
}

bool Ask(const Socket &socket, const sockaddr_in &to, Found &found, const std::string &network) {
    const std::string question = Question(to);
    if (sendto(socket.fd(), question.data(), question.size(), 0,
               reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0) {
        found.problems.push_back(network + ": " + std::strerror(errno));
        return false;
    }
    found.asked = true;
    return true;
}

// False when one of the questions was refused.
bool AskOften(const Socket &socket, const sockaddr_in &to, Found &found,
              const std::string &network) {
    for (int i = 0; i < kRepeats; ++i) {
        if (!Ask(socket, to, found, network)) {
            return false;
        }
    }
    return true;
}

// The addresses of this machine, one for each network.
std::vector<in_addr> OwnAddresses() {
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    std::vector<in_addr> addresses;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ifa_addr, sizeof address);
            addresses.push_back(address.sin_addr);
        }
    }
    return addresses;
}

void AskNetworks(const Socket &socket, Found &found) {
    sockaddr_in group{};
    group.sin_family = AF_INET;
    group.sin_port = htons(kPort);
    inet_pton(AF_INET, kGroup, &group.sin_addr);
    setsockopt(socket.fd(), IPPROTO_IP, IP_MULTICAST_TTL, &kHops, sizeof kHops);
    const std::vector<in_addr> addresses = OwnAddresses();
    if (addresses.empty()) {
        found.problems.emplace_back("this machine has no network");
    }
    for (const in_addr &address : addresses) {
        sockaddr_in own{};
        own.sin_addr = address;
        const std::string network = "the network of " + AddressText(own);
        if (setsockopt(socket.fd(), IPPROTO_IP, IP_MULTICAST_IF, &address, sizeof address) != 0) {
            found.problems.push_back(network + ": " + std::strerror(errno));
            continue;
        }
        AskOften(socket, group, found, network);
    }
}

void Collect(const Socket &socket, Clock::time_point end, std::size_t most,
             const std::string &network, Found &found) {
    std::array<char, 65536> datagram;
    while (found.locations.size() < most) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd wait = {socket.fd(), POLLIN, 0};
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) == 0) {
            return;
        }
        const ssize_t size = recv(socket.fd(), datagram.data(), datagram.size(), 0);
        if (size < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                continue;
            }
            // Nobody listens at that address.
            found.problems.push_back(network + ": " + std::strerror(errno));
            return;
        }
        const auto location = LocationOf({datagram.data(), static_cast<std::size_t>(size)});
        if (location && std::find(found.locations.begin(), found.locations.end(), *location) ==
                            found.locations.end()) {
            found.locations.push_back(*location);
        }
    }
}

bool EqualsInAnyCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
    return text.substr(0, text.find_last_not_of(kBlank) + 1);
}

}  // namespace

std::optional<std::string> LocationOf(std::string_view answer) {
    constexpr std::string_view kHttp = "http://";
    std::string_view location;
    std::string_view target;
    for (bool first = true; !answer.empty(); first = false) {
        const std::size_t end = std::min(answer.find('\n'), answer.size());
        const std::string_view line = Trimmed(answer.substr(0, end));
        answer.remove_prefix(std::min(end + 1, answer.size()));
        if (first && !(line.starts_with("HTTP/1.") && line.substr(7).find(" 200") == 1)) {
            return std::nullopt;
        }
        const std::size_t colon = line.find(':');
        if (first || colon == line.npos) {
            continue;
        }
        for (const auto &[name, value] :
             {std::pair<std::string_view, std::string_view &>("LOCATION", location),
              {"ST", target}}) {
            if (EqualsInAnyCase(Trimmed(line.substr(0, colon)), name)) {
                value = Trimmed(line.substr(colon + 1));
            }
        }
    }
    if (target != kTarget || !EqualsInAnyCase(location.substr(0, kHttp.size()), kHttp) ||
        location.find('\0') != location.npos) {
        return std::nullopt;
    }
    return std::string(location);
}

Found FindDevices(const std::optional<sockaddr_in> &address, std::chrono::milliseconds wait,
                  std::size_t most) {
    const Clock::time_point end = Clock::now() + wait;
    Found found;
    const Socket socket;
    if (socket.fd() < 0) {
        found.problems.push_back(std::strerror(errno));
        return found;
    }
    const std::string network = address ? AddressText(*address) : "the network";
    if (address) {
        // Connected, so that a machine where nobody listens shows at once, and only it answers.
        if (connect(socket.fd(), reinterpret_cast<const sockaddr *>(&*address), sizeof *address)) {
            found.problems.push_back(network + ": " + std::strerror(errno));
            return found;
        }
        if (!AskOften(socket, *address, found, network)) {
            return found;  // the answer to the first may be that nobody listens, and is told once
        }
    } else {
        AskNetworks(socket, found);
    }
    if (found.asked) {
        Collect(socket, end, most, network, found);
    }
    return found;
}

}  // namespace mediaserver
