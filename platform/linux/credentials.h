// Whom a process runs as.
#pragma once

#include <sys/types.h>

#include <optional>

#include "varn/run_as.h"

namespace varn {

// The ids of an account, from the accounts of varn/account.h. Empty, with the error state set, when
// there is no such account.
std::optional<Identity> IdentityOf(const char *userName);

// True when root is among the real, effective and saved user ids, which is what switching takes.
bool MaySwitchUser();

}  // namespace varn
