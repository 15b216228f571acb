#include "listeners.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "service/base/failure.h"
#include "service/base/wording.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"

namespace tonvale_events {

namespace {

using namespace std::chrono_literals;
using tonvale_service::Handed;
using tonvale_service::Lasting;

constexpr std::size_t kMostOfUser = 8;
constexpr std::size_t kMost = 200;

// A listener who takes nothing gets no more than this.
constexpr std::size_t kMostWaiting = 64 << 10;
constexpr auto kPatience = 20s;
constexpr int kSendBuffer = 16 << 10;

constexpr auto kSilence = 25s;

// nginx passes each event on at once.
constexpr char kBeginning[] =
    "Status: 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
    "X-Accel-Buffering: no\r\n\r\n";

std::string Refusal(int code, const char *status, const std::string &message) {
    return "Status: " + std::string(status) +
           "\r\nRetry-After: 30\r\nContent-Type: application/json; charset=utf-8\r\n\r\n"
           "{\"error\":{\"code\":" +
           std::to_string(code) + ",\"message\":\"" + message + "\"},\"success\":false}\n";
}

void Refuse(const Handed &handed, const std::string &refusal) {
    send(handed.connection.Get(), refusal.data(), refusal.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace

std::string EventText(std::string_view name, std::string_view data) {
    std::string text = "event: ";
    return text.append(name).append("\ndata: ").append(data).append("\n\n");
}

Listener::Listener(Lasting login, varn::UniqueFd connection)
    : login_(std::move(login)), connection_(std::move(connection)), lastSent_(Clock::now()) {
    setsockopt(connection_.Get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
    LearnRights();
    Send(kBeginning);
}

void Listener::LearnRights() {
    const std::string &name = login_.who.name;
    isAdministrator_ = tonvale_service::IsAdministrator(name);
    mayUsePlayer_ = (AudioUsers::GetUserPermission(name) & RIGHT_USB) != 0;
}

bool Listener::Gets(For whom) const {
    switch (whom) {
        case For::kOthers:
            return !isAdministrator_;
        case For::kAdministrators:
            return isAdministrator_;
        case For::kPlayers:
            return mayUsePlayer_;
        case For::kAll:
            break;
    }
    return true;
}

void Listener::Send(std::string_view text) {
    waiting_.append(text);
    Flush();
}

void Listener::Flush() {
    while (!waiting_.empty() && !isGone_) {
        const ssize_t sent =
            send(connection_.Get(), waiting_.data(), waiting_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) {
            waiting_.erase(0, static_cast<std::size_t>(sent));
            lastSent_ = Clock::now();
        } else if (errno == EAGAIN) {
            isGone_ = waiting_.size() > kMostWaiting;
            return;
        } else if (errno != EINTR) {
            isGone_ = true;
        }
    }
}

pollfd Listener::Polled() const {
    return {connection_.Get(), static_cast<short>(POLLIN | (waiting_.empty() ? 0 : POLLOUT)), 0};
}

void Listener::Answer(short events) {
    if ((events & POLLOUT) != 0) {
        Flush();
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        std::array<char, 4096> nothing;  // no client has anything more to say
        const ssize_t got = recv(connection_.Get(), nothing.data(), nothing.size(), MSG_DONTWAIT);
        isGone_ = isGone_ || got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
    }
}

void Listener::KeepAlive(Clock::time_point now) {
    if (!waiting_.empty()) {
        isGone_ = isGone_ || now - lastSent_ > kPatience;
    } else if (now - lastSent_ >= kSilence) {
        Send(":\n\n");
    }
}

void Listener::SayBye(std::string_view reason) {
    Send(EventText("bye", "{\"reason\":\"" + std::string(reason) + "\"}"));
    isGone_ = true;
}

// False when there is none to be had: then `isOfUser` tells whose bound it is.
bool Listeners::MakeRoom(const Handed &handed, bool &isOfUser) {
    const auto isOfSameUser = [&](const Listener &one) {
        return one.Login().who.uid == handed.who.uid;
    };
    const auto count = std::count_if(listeners_.begin(), listeners_.end(), isOfSameUser);
    isOfUser = static_cast<std::size_t>(count) >= kMostOfUser;
    if (!isOfUser && listeners_.size() < kMost) {
        return true;
    }
    const auto oldest =
        std::find_if(listeners_.begin(), listeners_.end(), [&](const Listener &one) {
            return isOfSameUser(one) && one.Login().proof == handed.proof &&
                   one.Login().who.id == handed.who.id;
        });
    if (oldest == listeners_.end()) {
        return false;
    }
    oldest->SayBye("replaced");
    listeners_.erase(oldest);
    return true;
}

Listener *Listeners::Add(Handed handed) {
    bool isOfUser = false;
    if (!MakeRoom(handed, isOfUser)) {
        Refuse(handed,
               isOfUser ? Refusal(429, "429 Too Many Requests", "a user has 8 listeners at most")
                        : Refusal(503, "503 Service Unavailable", tonvale_service::kServerIsBusy));
        return nullptr;
    }
    try {
        Lasting login = tonvale_service::MakeLasting(handed.proof, handed.who);
        return &listeners_.emplace_back(std::move(login), std::move(handed.connection));
    } catch (const tonvale_service::Failure &) {
        Refuse(handed, Refusal(503, "503 Service Unavailable", tonvale_service::kServerIsBusy));
        return nullptr;
    }
}

void Listeners::Send(For whom, std::string_view text) {
    for (Listener &listener : listeners_) {
        if (listener.Gets(whom)) {
            listener.Send(text);
        }
    }
}

void Listeners::EndOver() {
    std::vector<const Lasting *> logins;
    for (const Listener &listener : listeners_) {
        logins.push_back(&listener.Login());
    }
    const std::vector<bool> last = tonvale_service::WhichLast(logins);
    auto lasts = last.begin();
    for (Listener &listener : listeners_) {
        if (*lasts++) {
            listener.LearnRights();
        } else {
            listener.SayBye("login");
        }
    }
}

void Listeners::KeepAlive() {
    for (Listener &listener : listeners_) {
        listener.KeepAlive(Clock::now());
    }
}

void Listeners::RemoveGone() {
    listeners_.remove_if([](const Listener &listener) { return listener.IsGone(); });
}

bool Listeners::IsAny(For whom) const {
    return std::any_of(listeners_.begin(), listeners_.end(),
                       [whom](const Listener &listener) { return listener.Gets(whom); });
}

void Listeners::AddPolled(std::vector<pollfd> &polled) const {
    for (const Listener &listener : listeners_) {
        polled.push_back(listener.Polled());
    }
}

void Listeners::Answer(const pollfd *polled) {
    for (Listener &listener : listeners_) {
        listener.Answer((polled++)->revents);
    }
}

}  // namespace tonvale_events
