// tonvale-events: tells what happens to all who listen (server-sent events). 'tonvale serve' runs
// one. Workers hand it the connections (service/live/event_socket.h).
#include <poll.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "listeners.h"
#include "news.h"
#include "varn/db.h"
#include "varn/drop_rights.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_events;
using namespace std::chrono_literals;

constexpr auto kLookEvery = 1s;

// A statement that waits for longer keeps everybody waiting.
constexpr int kLongestStatement = 3000;  // milliseconds

varn::UniqueFd EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return varn::UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

int TimeUntil(Clock::time_point moment) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

void TakeAll(int socket, Listeners &listeners, News &news) {
    while (auto handed = tonvale_service::TakeHanded(socket)) {
        if (Listener *const listener = listeners.Add(std::move(*handed))) {
            news.Greet(*listener);
        }
    }
}

// Until a signal asks for the end.
void Run(int socket, int signals) {
    Listeners listeners;
    News news(listeners);
    auto nextLook = Clock::now();
    for (;;) {
        std::vector<pollfd> polled = {
            {signals, POLLIN, 0}, {socket, POLLIN, 0}, {news.PlayerPipe(), POLLIN, 0}};
        const std::size_t others = polled.size();
        listeners.AddPolled(polled);
        if (poll(polled.data(), polled.size(), listeners.IsEmpty() ? -1 : TimeUntil(nextLook)) >
            0) {
            if (polled[0].revents != 0) {
                return;
            }
            listeners.Answer(polled.data() + others);
            if (polled[2].revents != 0) {
                news.ReadPlayer();
            }
            if (polled[1].revents != 0) {
                TakeAll(socket, listeners, news);
            }
        }
        if (!listeners.IsEmpty() && Clock::now() >= nextLook) {
            news.Look();
            nextLook = Clock::now() + kLookEvery;
        }
        listeners.RemoveGone();
        if (listeners.IsEmpty()) {
            news.Forget();
            nextLook = Clock::now();
        }
    }
}

}  // namespace

int main() {
    openlog("tonvale-events", LOG_PERROR, LOG_USER);
    const varn::UniqueFd signals = EndSignals();
    VARNDBBoundStatements(kLongestStatement);
    if (!varn::DropRights(nullptr)) {
        syslog(LOG_ERR, "Failed to give up root's rights: %m");
        return EXIT_FAILURE;
    }
    VARNDBKeepConnections(1);
    try {
        const varn::UniqueFd socket = tonvale_service::OpenEventSocket();
        Run(socket.Get(), signals.Get());
        unlink(SystemPath(varn::path::kEventSocket).c_str());
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "Cannot tell of events: %s", error.what());
        return EXIT_FAILURE;
    }
}
