// An AirPlay receiver does not start without service discovery. The tests preload this library into
// it. Then it starts without the discovery's daemon and announces nothing to the network.
namespace {

int nothing;

}  // namespace

#define EXPORTED __attribute__((visibility("default")))
#define MAKES(name)         \
    EXPORTED void *name() { \
        return &nothing;    \
    }
#define SUCCEEDS(name)    \
    EXPORTED int name() { \
        return 0;         \
    }

extern "C" {

// clang-format off
MAKES(avahi_threaded_poll_new)
MAKES(avahi_threaded_poll_get)
MAKES(avahi_client_new)
MAKES(avahi_service_browser_new)
SUCCEEDS(avahi_threaded_poll_start)
SUCCEEDS(avahi_threaded_poll_stop)
SUCCEEDS(avahi_threaded_poll_lock)
SUCCEEDS(avahi_threaded_poll_unlock)
SUCCEEDS(avahi_threaded_poll_free)
SUCCEEDS(avahi_client_free)
SUCCEEDS(avahi_client_errno)
SUCCEEDS(avahi_service_browser_free)
// clang-format on

}  // extern "C"
