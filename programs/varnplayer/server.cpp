#include "server.h"

#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

#include "mpd.h"
#include "tonvale/players.h"
#include "varn/descriptor.h"
#include "varn/player.h"

namespace varnplayer {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{2};
constexpr std::size_t kMostClients = 64;  // more wait for their turn

// One conversation: a message, and its answer.
class Client {
  public:
    explicit Client(varn::UniqueFd socket) : socket_(std::move(socket)) {}

    pollfd Wish() const {
        return {socket_.Get(), static_cast<short>(isAnswered_ ? POLLOUT : POLLIN), 0};
    }
    Clock::time_point Deadline() const { return deadline_; }

    // Goes on as far as that is possible without waiting. False when it is over.
    bool GoOn(Player &player) {
        if (!isAnswered_ && !Receive(player)) {
            return false;
        }
        return !isAnswered_ || Send();
    }

  private:
    static bool IsForLater(ssize_t result) {
        return result < 0 && (errno == EAGAIN || errno == EINTR);
    }

    bool Receive(Player &player) {
        const ssize_t part = recv(socket_.Get(), reinterpret_cast<char *>(&message_) + got_,
                                  sizeof message_ - got_, MSG_DONTWAIT);
        if (IsForLater(part)) {
            return true;
        }
        if (part <= 0) {
            syslog(LOG_NOTICE, "a client went away before its message was there");
            return false;
        }
        got_ += static_cast<std::size_t>(part);
        if (got_ == sizeof message_) {
            const std::size_t length = strnlen(message_.payload, sizeof message_.payload);
            answer_ = Execute(player, message_.command, {message_.payload, length});
            isAnswered_ = true;
            deadline_ = Clock::now() + kPatience;
        }
        return true;
    }

    bool Send() {
        const ssize_t part = send(socket_.Get(), answer_.data() + sent_, answer_.size() - sent_,
                                  MSG_DONTWAIT | MSG_NOSIGNAL);
        if (part < 0 && !IsForLater(part)) {
            return false;  // it has had enough, or went away
        }
        sent_ += static_cast<std::size_t>(std::max<ssize_t>(part, 0));
        return sent_ < answer_.size();
    }

    varn::UniqueFd socket_;
    Clock::time_point deadline_ = Clock::now() + kPatience;
    VARN_AUDIO_CTRL_MSG message_ = {};
    std::size_t got_ = 0;
    std::string answer_;
    bool isAnswered_ = false;
    std::size_t sent_ = 0;
};

using Clients = std::vector<std::unique_ptr<Client>>;

// How long nothing need be done when nothing happens, for poll(2).
int Patience(const Clients &clients, const Player &player) {
    auto next = Clock::time_point::max();
    for (const auto &client : clients) {
        next = std::min(next, client->Deadline());
    }
    if (!player.adder.IsDone()) {
        next = std::min(next, player.adder.NextTry());
    }
    if (next == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

// Goes on with each client that is ready, and forgets those that are done or too late: not one
// that was ready while others were served.
void GoOn(Clients &clients, const pollfd *entries, Player &player) {
    Clients left;
    for (auto &client : clients) {
        const bool goesOn =
            (entries++)->revents != 0 ? client->GoOn(player) : Clock::now() < client->Deadline();
        if (goesOn) {
            left.push_back(std::move(client));
        }
    }
    clients = std::move(left);
}

}  // namespace

void Serve(int listener, const Signals &signals, const std::function<void()> &check,
           Player &player) {
    Clients clients;
    for (;;) {
        const bool hasRoom = clients.size() < kMostClients;
        std::vector<pollfd> entries = {{signals.Get(), POLLIN, 0},
                                       {hasRoom ? listener : -1, POLLIN, 0}};
        for (const auto &client : clients) {
            entries.push_back(client->Wish());
        }
        if (poll(entries.data(), entries.size(), Patience(clients, player)) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for clients");
        }
        if (entries[0].revents != 0) {
            if (signals.EndIsAsked()) {
                return;
            }
            check();
        }
        GoOn(clients, entries.data() + 2, player);
        if (entries[1].revents != 0) {
            varn::UniqueFd client(SocketAccept(listener));
            if (client.Get() >= 0) {
                clients.push_back(std::make_unique<Client>(std::move(client)));
            }
        }
        if (!player.adder.IsDone() && Clock::now() >= player.adder.NextTry()) {
            player.adder.Step(Mpd(player.mpdAddress));
        }
    }
}

}  // namespace varnplayer
