// The library's notices about changed files: those that arrive now and those that were spooled
// while nobody listened.
#pragma once

#include <vector>

#include "varn/notify.h"
#include "varnindex/descriptor.h"

namespace varnindex {

// Takes the notices out of the spool; a damaged line asks for everything. A process that is killed
// before it has done what they ask for loses nothing: the next one begins with a look at all
// folders. Throws std::system_error when the spool is there and cannot be read or emptied.
std::vector<varn::notify::Notice> TakeSpooledNotices();

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
