#include "mpd.h"

#include <new>
#include <utility>

namespace varnplayer {

namespace {

using Clock = std::chrono::steady_clock;

// Shorter than the time that a client of the control socket waits.
constexpr std::chrono::milliseconds kTime{3000};

// True when the daemon was asked for something that it has not: a song, an output.
bool IsForNothing(const mpd_connection *connection) {
    if (mpd_connection_get_error(connection) != MPD_ERROR_SERVER) {
        return false;
    }
    const mpd_server_error error = mpd_connection_get_server_error(connection);
    return error == MPD_SERVER_ERROR_ARG || error == MPD_SERVER_ERROR_NO_EXIST;
}

}  // namespace

Mpd::Mpd(const std::string &address) : address_(address) {
    StartAnew();
}

void Mpd::StartAnew() const {
    deadline_ = Clock::now() + kTime;
}

mpd_connection *Mpd::Get() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
    if (left.count() <= 0) {
        throw Refused("the music player daemon did not answer in time");
    }
    const auto milliseconds = static_cast<unsigned>(left.count());
    if (!connection_) {
        Connect(milliseconds);
    }
    mpd_connection_set_timeout(connection_.get(), milliseconds);
    return connection_.get();
}

void Mpd::Connect(unsigned milliseconds) const {
    Connection made(
        mpd_connection_new(address_.empty() ? nullptr : address_.c_str(), 0, milliseconds));
    if (!made) {
        throw std::bad_alloc();
    }
    if (mpd_connection_get_error(made.get()) != MPD_ERROR_SUCCESS) {
        throw Refused(mpd_connection_get_error_message(made.get()));
    }
    connection_ = std::move(made);
}

void Mpd::Require(bool succeeded) const {
    if (succeeded) {
        return;
    }
    const mpd_connection *const connection = connection_.get();
    if (mpd_connection_get_error(connection) == MPD_ERROR_SUCCESS) {
        throw Refused("the music player daemon did not answer");
    }
    throw Refused(IsForNothing(connection) ? Refused::kBad : Refused::kFailed,
                  mpd_connection_get_error_message(connection));
}

bool Mpd::Accepted(bool succeeded) const {
    if (!succeeded && mpd_connection_get_error(connection_.get()) == MPD_ERROR_SERVER &&
        mpd_connection_clear_error(connection_.get())) {
        return false;
    }
    Require(succeeded);
    return true;
}

MpdStatus Mpd::Status() const {
    MpdStatus status(mpd_run_status(Get()));
    Require(status != nullptr);
    return status;
}

}  // namespace varnplayer
