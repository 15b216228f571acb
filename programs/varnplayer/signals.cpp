#include "signals.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace varnplayer {

namespace {

int Listen() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGCHLD}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    // A parent may have ignored it: then the ends of children would go unnoticed.
    signal(SIGCHLD, SIG_DFL);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

Signals::Signals() : fd_(Listen()) {
    if (fd_.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

bool Signals::EndIsAsked(std::chrono::milliseconds patience) const {
    pollfd entry = {Get(), POLLIN, 0};
    poll(&entry, 1, static_cast<int>(patience.count()));
    signalfd_siginfo signal{};
    while (read(Get(), &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) {
        ended_ = ended_ || signal.ssi_signo != SIGCHLD;
    }
    return ended_;
}

}  // namespace varnplayer
