#include "mpd.h"

namespace varnplayer {

namespace {

// Shorter than the time that a client of the control socket waits.
constexpr unsigned kTimeoutMilliseconds = 3000;

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
    if (!succeeded) {
        throw Refused(mpd_connection_get_error(Get()) != MPD_ERROR_SUCCESS
                          ? mpd_connection_get_error_message(Get())
                          : "the music player daemon did not answer");
    }
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
