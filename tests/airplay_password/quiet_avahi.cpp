// Stands in for the service discovery that an AirPlay receiver insists on: loaded into it by the
// tests (LD_PRELOAD), it lets the receiver run on a machine without the discovery's daemon, and
// announces nothing to anybody's network.
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
