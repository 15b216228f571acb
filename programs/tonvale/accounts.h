// Accounts, for the verbs that name one or write what belongs to the package.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "varn/host.h"

namespace tonvale_cli {

struct Account {
    std::string name;
    uid_t uid;
};

// An account by its name. Empty, with a message that tells which there are, for one that does not
// exist.
std::optional<Account> FindAccount(const std::string &name);

// The name of a user id, "" when no account has it.
std::string AccountName(uid_t uid);

// A user's preference folder, "" for a name that can have none.
std::string PreferenceFolder(const std::string &name);

// Runs as the package's account from here on, where the process may switch: what is written then
// stays its own.
varn::host::Outcome BecomePackageAccount();

}  // namespace tonvale_cli
