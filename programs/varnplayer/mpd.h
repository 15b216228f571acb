// The music player daemon, which does the playing. The one place that includes its client library.
#pragma once

#include <mpd/client.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "varn/handles.h"

namespace varnplayer {

// What keeps a command from being done, for the answer.
class Refused : public std::runtime_error {
  public:
    enum Reason {
        kFailed,  // it might be done at another time
        kBad      // it asks for what does not exist
    };
    explicit Refused(const std::string &why) : Refused(kFailed, why) {}
    Refused(Reason reason, const std::string &why) : std::runtime_error(why), reason_(reason) {}
    bool IsBad() const { return reason_ == kBad; }

  private:
    Reason reason_;
};

using MpdStatus = std::unique_ptr<mpd_status, varn::Releaser<mpd_status_free>>;
using MpdSong = std::unique_ptr<mpd_song, varn::Releaser<mpd_song_free>>;
using MpdOutput = std::unique_ptr<mpd_output, varn::Releaser<mpd_output_free>>;

// A connection for one command, made when it is first needed: the daemon ends those that are silent
// for a minute.
class Mpd {
  public:
    // A path is that of a local socket, through which alone files may be named by absolute paths.
    explicit Mpd(const std::string &address);

    // The connection, for one call, which has what is left of the command's time. Throws Refused
    // when nobody answers, or not in time.
    mpd_connection *Get() const;

    // Gives a command that is longer than others its time anew.
    void StartAnew() const;

    // Throws Refused with the daemon's reason when a call failed.
    void Require(bool succeeded) const;

    // False for what the daemon refused; the connection can go on. Throws when it was lost.
    bool Accepted(bool succeeded) const;

    MpdStatus Status() const;

  private:
    using Connection = std::unique_ptr<mpd_connection, varn::Releaser<mpd_connection_free>>;

    void Connect(unsigned milliseconds) const;

    std::string address_;
    mutable std::chrono::steady_clock::time_point deadline_;
    mutable Connection connection_;
};

}  // namespace varnplayer
