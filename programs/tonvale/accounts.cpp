#include "accounts.h"

#include <pwd.h>

#include <array>
#include <cstdio>
#include <memory>

#include "database.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

struct UserFree {
    void operator()(PVARN_USER user) const noexcept { VARNUserFree(user); }
};
using User = std::unique_ptr<VARN_USER, UserFree>;

struct FileClose {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};

// The accounts of the root, for a message; a real installation's may be too many to list.
std::string KnownUsers() {
    if (SystemRoot().empty()) {
        return "";
    }
    const std::unique_ptr<std::FILE, FileClose> file(
        std::fopen(SystemPath(varn::path::kPasswd).c_str(), "re"));
    std::string names;
    for (const passwd *entry = nullptr; file && (entry = fgetpwent(file.get())) != nullptr;) {
        names += (names.empty() ? "" : ", ") + std::string(entry->pw_name);
    }
    return names.empty() ? "" : "; the users are " + names;
}

}  // namespace

std::optional<Account> FindAccount(const std::string &name) {
    PVARN_USER found = nullptr;
    if (VARNUserGet(name.c_str(), &found) != 0) {
        Complain("there is no user '" + name + "'" + KnownUsers());
        return std::nullopt;
    }
    const User user(found);
    return Account{user->szName, user->uid};
}

std::string AccountName(uid_t uid) {
    PVARN_USER found = nullptr;
    VARNUserGetByUID(uid, &found);
    const User user(found);
    return user ? user->szName : "";
}

std::string PreferenceFolder(const std::string &name) {
    std::array<char, 4096> folder = {};
    VARNUserPreferenceDirGet(name.c_str(), folder.data(), folder.size());
    return folder.data();
}

varn::host::Outcome BecomePackageAccount() {
    using varn::host::Outcome;
    return ResetCredentialsByName(varn::kPackageAccount) == 0
               ? Outcome::Good()
               : Outcome::Problem(std::string("cannot switch to the account ") +
                                  varn::kPackageAccount);
}

}  // namespace tonvale_cli
