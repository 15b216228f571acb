#include "varn/player.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>

#include "linux/error.h"
#include "linux/files.h"
#include "varn/systempath.h"

namespace varn {

namespace {

using Clock = std::chrono::steady_clock;

// How often to ask a daemon again that has too many callers waiting.
constexpr std::chrono::milliseconds kRetryPause{10};

// One conversation with the daemon, to be over at a fixed time. What fails leaves errno.
class Exchange {
  public:
    Exchange()
        : end_(Clock::now() + std::chrono::milliseconds(VARN_AUDIO_CTRL_TIMEOUT)),
          socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}

    bool Connect() const {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const std::string path = SystemPath(path::kPlayerSocket);
        if (!socket_ || path.size() >= sizeof address.sun_path) {
            errno = socket_ ? ENAMETOOLONG : errno;
            return false;
        }
        path.copy(address.sun_path, path.size());
        while (connect(socket_.Get(), reinterpret_cast<const sockaddr *>(&address),
                       sizeof address) != 0) {
            // A local socket is never "in progress"; EAGAIN is a full queue.
            if (errno != EAGAIN && errno != EINTR) {
                return false;
            }
            if (Clock::now() >= end_) {
                errno = ETIMEDOUT;
                return false;
            }
            std::this_thread::sleep_for(kRetryPause);
        }
        return true;
    }

    bool Send(std::string_view bytes) const {
        while (!bytes.empty()) {
            if (!Wait(POLLOUT)) {
                return false;
            }
            const ssize_t put = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (put < 0 && !MayGoOn()) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(put, 0)));
        }
        return true;
    }

    // Fills `out` up to the end of the answer. The number of bytes, or -1.
    int Receive(char *out, std::size_t size) const {
        std::size_t got = 0;
        while (got < size) {
            if (!Wait(POLLIN)) {
                return -1;
            }
            const ssize_t part = recv(socket_.Get(), out + got, size - got, 0);
            if (part == 0) {
                break;
            }
            if (part < 0 && !MayGoOn()) {
                return -1;
            }
            got += static_cast<std::size_t>(std::max<ssize_t>(part, 0));
        }
        return static_cast<int>(got);
    }

  private:
    static bool MayGoOn() { return errno == EAGAIN || errno == EINTR; }

    // Until the socket is ready or broken.
    bool Wait(short events) const {
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
            pollfd entry = {socket_.Get(), events, 0};
            const int ready =
                left.count() > 0 ? poll(&entry, 1, static_cast<int>(left.count())) : 0;
            if (ready > 0) {
                return true;
            }
            if (ready == 0) {
                errno = ETIMEDOUT;
                return false;
            }
            if (errno != EINTR) {
                return false;
            }
        }
    }

    Clock::time_point end_;
    UniqueFd socket_;
};

int Converse(const VARN_AUDIO_CTRL_MSG &message, char *reply, std::size_t room) {
    const Exchange exchange;
    const std::string_view bytes(reinterpret_cast<const char *>(&message), sizeof message);
    const int got = exchange.Connect() && exchange.Send(bytes) ? exchange.Receive(reply, room) : -1;
    if (got < 0) {
        SetSystemError();
    }
    reply[std::max(got, 0)] = '\0';
    return got;
}

}  // namespace

}  // namespace varn

int VARNAudioCtrlSend(const VARN_AUDIO_CTRL_MSG *message, char *reply, int replySize) {
    if (message == nullptr || reply == nullptr || replySize < 1) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return -1;
    }
    reply[0] = '\0';
    return varn::Guarded(-1, [&] {
        return varn::Converse(*message, reply, static_cast<std::size_t>(replySize) - 1);
    });
}
