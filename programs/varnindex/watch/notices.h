// The library's notices about changed files: those that arrive now and those that were spooled
// while nobody listened.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "varn/notify.h"
#include "varnindex/descriptor.h"

namespace varnindex {

// What a number of notices ask for.
struct Requests {
    bool everything = false;         // look at all folders again
    std::vector<std::string> paths;  // look at these again; what was moved stands with both paths
    std::vector<std::string> ids;    // playlist rows to remove, in decimal

    void Add(const varn::notify::Notice &notice);
    bool Empty() const { return !everything && paths.empty() && ids.empty(); }
};

// The notices of the spool. They stay on disk until Done(), so that the next run finds again what a
// run that was cut short has not worked off; looking at a path twice does no harm.
class SpooledNotices {
  public:
    SpooledNotices() = default;

    bool Everything() const { return requests_.everything; }
    const std::vector<std::string> &Paths() const { return requests_.paths; }
    const std::vector<std::string> &RemovedIds() const { return requests_.ids; }
    bool Empty() const { return requests_.Empty(); }

    // Removes them for good. Throws std::system_error.
    void Done();

  private:
    friend SpooledNotices TakeSpooledNotices();

    Requests requests_;
    Descriptor taken_;  // locked
};

// None while another process works them off. Throws std::system_error when the spool is there and
// cannot be read or moved aside.
SpooledNotices TakeSpooledNotices();

// The local socket at which notices arrive; its file goes with it.
class NoticeSocket {
  public:
    // Throws std::system_error.
    NoticeSocket();
    ~NoticeSocket();
    NoticeSocket(const NoticeSocket &) = delete;
    NoticeSocket &operator=(const NoticeSocket &) = delete;

    // False when another process listens already; nothing can be received then.
    bool IsOurs() const { return static_cast<bool>(socket_); }

    // To poll for reading.
    int Get() const { return socket_.Get(); }

    // The next notice that has arrived; none when there is no more. What is no notice is passed
    // over.
    std::optional<varn::notify::Notice> Receive();

  private:
    Descriptor lock_;
    Descriptor socket_;
};

}  // namespace varnindex
