#pragma once

#include <csignal>

namespace Tonvale::misc {

// Keeps the exit status of children until it is asked for, for the length of a scope: with
// SA_NOCLDWAIT the kernel drops it. With `ofIgnored` also in a process that ignores SIGCHLD.
class KeptExitStatus {
  public:
    explicit KeptExitStatus(bool ofIgnored) noexcept {
        if (sigaction(SIGCHLD, nullptr, &before_) != 0) {
            return;
        }
        const bool hasFlag = (before_.sa_flags & SA_NOCLDWAIT) != 0;
        const bool isIgnored =
            (before_.sa_flags & SA_SIGINFO) == 0 && before_.sa_handler == SIG_IGN && ofIgnored;
        changed_ = hasFlag || isIgnored;
        if (changed_) {
            struct sigaction kept = before_;
            kept.sa_flags &= ~SA_NOCLDWAIT;
            if (isIgnored) {
                kept.sa_handler = SIG_DFL;
            }
            sigaction(SIGCHLD, &kept, nullptr);
        }
    }
    ~KeptExitStatus() {
        if (changed_) {
            sigaction(SIGCHLD, &before_, nullptr);
        }
    }
    KeptExitStatus(const KeptExitStatus &) = delete;
    KeptExitStatus &operator=(const KeptExitStatus &) = delete;

  private:
    struct sigaction before_ {};
    bool changed_ = false;
};

}  // namespace Tonvale::misc
