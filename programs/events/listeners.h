// Who listens to events, and what is on its way to each.
#pragma once

#include <poll.h>

#include <chrono>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "service/live/event_socket.h"
#include "service/people/sign_in.h"
#include "varn/descriptor.h"

namespace tonvale_events {

using Clock = std::chrono::steady_clock;

// Whom an event is for.
enum class For { kAll, kOthers, kAdministrators, kPlayers };

// One event in the stream (text/event-stream). `data` is a line.
std::string EventText(std::string_view name, std::string_view data);

class Listener {
  public:
    Listener(tonvale_service::Lasting login, varn::UniqueFd connection);

    const tonvale_service::Lasting &Login() const { return login_; }
    // Finds out anew what the user may be told.
    void LearnRights();
    bool Gets(For whom) const;

    // Puts a text after what is on its way, and sends what goes without waiting.
    void Send(std::string_view text);
    // What the connection is polled for, and what is done about it.
    pollfd Polled() const;
    void Answer(short events);
    // Sends a comment where nothing was sent for long, so that no proxy takes the stream for dead.
    void KeepAlive(Clock::time_point now);
    // Tells why, and closes.
    void SayBye(std::string_view reason);

    // True when the client has left, or takes nothing.
    bool IsGone() const { return isGone_; }

  private:
    void Flush();

    tonvale_service::Lasting login_;
    varn::UniqueFd connection_;
    std::string waiting_;
    Clock::time_point lastSent_;  // or the last time that it took something
    bool isAdministrator_ = false;
    bool mayUsePlayer_ = false;
    bool isGone_ = false;
};

class Listeners {
  public:
    // Answers a connection: with the beginning of a stream, or with a refusal. A user's listener
    // above the bound takes the place of the oldest one of the same session or key.
    Listener *Add(tonvale_service::Handed handed);
    void Send(For whom, std::string_view text);
    // Says bye to all whose login is over. Throws a Failure where that cannot be told.
    void EndOver();
    void KeepAlive();
    void RemoveGone();

    bool IsEmpty() const { return listeners_.empty(); }
    bool IsAny(For whom) const;
    // Appends what is polled for; and answers what came, from there on.
    void AddPolled(std::vector<pollfd> &polled) const;
    void Answer(const pollfd *polled);

  private:
    bool MakeRoom(const tonvale_service::Handed &handed, bool &isOfUser);

    std::list<Listener> listeners_;  // the oldest first
};

}  // namespace tonvale_events
