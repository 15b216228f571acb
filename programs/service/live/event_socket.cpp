#include "service/live/event_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "service/base/failure.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr timeval kPatience = {1, 0};

// Both ends are the same program at the same time.
struct Person {
    Proof proof;
    uid_t uid;
    int id;
    char name[256];
};

bool FindAddress(sockaddr_un &address) {
    const std::string path = SystemPath(varn::path::kEventSocket);
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path);
    return path.size() <= sizeof address.sun_path;
}

// A message of one Person and one descriptor.
struct Message {
    Message() {
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = CMSG_LEN(sizeof(int));  // in CMSG_SPACE there is room for two
    }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    Person person{};
    iovec part{&person, sizeof person};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr header{};
};

// More than one never comes: the kernel closes what there is no room for.
varn::UniqueFd DescriptorIn(msghdr &header) {
    const cmsghdr *const part = CMSG_FIRSTHDR(&header);
    int fd = -1;
    if (part != nullptr && part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_RIGHTS) {
        std::memcpy(&fd, CMSG_DATA(part), sizeof fd);
    }
    return varn::UniqueFd(fd);
}

bool IsSocket(int fd) {
    struct stat info {};
    return fstat(fd, &info) == 0 && S_ISSOCK(info.st_mode);
}

}  // namespace

void HandOver(Proof proof, const Holder &who, int connection) {
    Message message;
    message.person = {proof, who.uid, who.id, {}};
    who.name.copy(message.person.name, sizeof message.person.name - 1);
    cmsghdr *const part = CMSG_FIRSTHDR(&message.header);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof connection);
    std::memcpy(CMSG_DATA(part), &connection, sizeof connection);
    sockaddr_un address{};
    message.header.msg_name = &address;
    message.header.msg_namelen = sizeof address;
    const varn::UniqueFd sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!FindAddress(address) || !sender ||
        setsockopt(sender.Get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience) != 0 ||
        sendmsg(sender.Get(), &message.header, MSG_NOSIGNAL) < 0) {
        throw Failure(Reason::kEventsAway);
    }
}

varn::UniqueFd OpenEventSocket() {
    const varn::RunAs package(varn::Who::kPackage);
    sockaddr_un address{};
    varn::UniqueFd receiver(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const mode_t before = umask(0177);
    const bool isBound =
        receiver && FindAddress(address) &&
        (unlink(SystemPath(varn::path::kEventSocket).c_str()) == 0 || errno == ENOENT) &&
        bind(receiver.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    umask(before);
    if (!isBound) {
        throw std::system_error(errno, std::generic_category(),
                                SystemPath(varn::path::kEventSocket));
    }
    return receiver;
}

std::optional<Handed> TakeHanded(int socket) {
    for (;;) {
        Message message;
        const ssize_t got = recvmsg(socket, &message.header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
        varn::UniqueFd connection = got < 0 ? varn::UniqueFd() : DescriptorIn(message.header);
        Person &person = message.person;
        if (got == sizeof person && connection && IsSocket(connection.Get())) {
            person.name[sizeof person.name - 1] = '\0';
            return Handed{
                person.proof, {person.uid, person.name, person.id}, std::move(connection)};
        }
    }
}

}  // namespace tonvale_service
