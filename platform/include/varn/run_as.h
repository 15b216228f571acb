// Running as another account for the length of a scope.
#pragma once

#include <sys/types.h>

#include <vector>

#include "varn/export.h"

namespace varn {

// What a switch changes of a process, effective ids alone.
struct Identity {
    uid_t uid;
    gid_t gid;
    std::vector<gid_t> groups;  // supplementary groups
};

// Whom a scope runs as.
enum class Who {
    kCaller,   // as before: for calls that may leave the process as another
    kRoot,     // user and group id 0; the supplementary groups stay unless the switch is by name
    kPackage,  // the account "Tonvale", with its groups
};

// Whom the process runs as after the scope. All but kBack are for exported calls whose outcome is
// given.
enum class Afterwards {
    kBack,           // the identity of before; a process that cannot take it back ends
    kBackOrGoOn,     // the identity of before; a process that cannot take it back stays as it is
    kAccountBefore,  // the account of the user of before, with its groups; without one kBack. A
                     // process that has the user id already keeps its identity
    kPackage,        // the package's account; without one kBack
    kStay,           // as the scope has run
};

// Switches the effective user, group and supplementary groups. The identity of before is kept as
// numbers. When the scope ends as another account or as the account of before, the switch is by
// name (ResetCredentialsByName, varn/process.h), and by numbers when that fails. A switch that
// fails, either way, is logged at critical level for the authorisation facility as IF_RUN_AS, with
// `source` and the line. errno stays after the scope. Without root among its user ids a process has
// one identity, and nothing is switched. Not for processes in which another thread depends on the
// account.
class VARN_EXPORT RunAs {
  public:
    explicit RunAs(Who who, Afterwards afterwards = Afterwards::kBack,
                   const char *source = __builtin_FILE(), int line = __builtin_LINE());
    ~RunAs();
    RunAs(const RunAs &) = delete;
    RunAs &operator=(const RunAs &) = delete;

    // False when there is no such account or the switch was refused: the process runs as before,
    // and does so after the scope.
    explicit operator bool() const noexcept { return isSwitched_; }

    // Ends the scope with kStay.
    void Stay() noexcept { afterwards_ = Afterwards::kStay; }

  private:
    bool Become(Who who);
    bool IsBack() const noexcept;
    bool Leave() const;
    void Log(const char *tag, const Identity &to) const;

    Identity before_;
    Afterwards afterwards_;
    const char *source_;
    int line_;
    bool isByName_ = false;  // Become sets it while isSwitched_, which must follow, is initialised
    bool isSwitched_;
};

}  // namespace varn
