#include "mpd.h"

namespace varnplayer {

namespace {

// Shorter than the time that a client of the control socket waits.
constexpr unsigned kTimeoutMilliseconds = 3000;

// True when the daemon was asked for something that it has not: a song, an output.
bool IsForNothing(mpd_connection *connection) {
    if (mpd_connection_get_error(connection) != MPD_ERROR_SERVER) {
        return false;
    }
    const mpd_server_error error = mpd_connection_get_server_error(connection);
    return error == MPD_SERVER_ERROR_ARG || error == MPD_SERVER_ERROR_NO_EXIST;
}

}  // namespace

Mpd::Mpd(const std::string &address)
    : connection_(mpd_connection_new(address.empty() ? nullptr : address.c_str(), 0,
                                     kTimeoutMilliseconds)) {
    if (!connection_) {
        throw std::bad_alloc();
    }
    Require(mpd_connection_get_error(Get()) == MPD_ERROR_SUCCESS);
}

void Mpd::Require(bool succeeded) const {
    if (succeeded) {
        return;
    }
    if (mpd_connection_get_error(Get()) == MPD_ERROR_SUCCESS) {
        throw Refused("the music player daemon did not answer");
    }
    throw Refused(IsForNothing(Get()) ? Refused::kBad : Refused::kFailed,
                  mpd_connection_get_error_message(Get()));
}

bool Mpd::Accepted(bool succeeded) const {
    if (!succeeded && mpd_connection_get_error(Get()) == MPD_ERROR_SERVER &&
        mpd_connection_clear_error(Get())) {
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
