// Accounts and groups, from the root's files or the system's name service.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace varn {

struct Account {
    std::string name;
    uid_t uid;
    gid_t gid;
    std::string home;
};

// Look an account up. Empty, with the error state set, when there is none.
std::optional<Account> FindAccount(const std::string &name);
std::optional<Account> FindAccount(uid_t uid);

// All of them. Empty when they cannot be read to the end.
std::optional<std::vector<Account>> AllAccounts();

// The groups that an account is in, its own group among them. Empty, with the error state set, when
// they cannot be read.
std::optional<std::vector<gid_t>> GroupsOf(const Account &account);

// The id of a group by its name. Empty, with the error state set, when there is none.
std::optional<gid_t> FindGroup(const std::string &name);

}  // namespace varn
