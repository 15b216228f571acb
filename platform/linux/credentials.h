// Whom a process runs as.
#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace varn {

struct Identity {
    uid_t uid;
    gid_t gid;
    std::vector<gid_t> groups;  // supplementary groups
};

// The ids of an account, from the accounts of varn/account.h. Empty, with the error state set, when
// there is no such account.
std::optional<Identity> IdentityOf(const char *userName);

// True when root is among the real, effective and saved user ids, which is what switching takes.
bool MaySwitchUser();

// Ends a process that cannot go back to the effective user that it was, with errno's words in the
// log.
[[noreturn]] void EndStranded(uid_t uid);

}  // namespace varn
