// Accounts, for the verbs that name one or write what belongs to the package.
#pragma once

#include <sys/types.h>

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

// The name of a user id, "" when no account has it.
std::string AccountName(uid_t uid);

// A user's preference folder, "" for a name that can have none.
std::string PreferenceFolder(const std::string &name);

// Runs as the package's account from here on, where the process may switch: what is written then
// stays its own.
varn::host::Outcome BecomePackageAccount();

}  // namespace tonvale_cli
