#include "user.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "database.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

// The accounts of the root, for a message; a real installation's may be too many to list.
std::string KnownUsers() {
    if (SystemRoot().empty()) {
        return "";
    }
    const std::unique_ptr<FILE, decltype(&fclose)> file(
        fopen(SystemPath(varn::path::kPasswd).c_str(), "re"), fclose);
    std::string names;
    for (const passwd *entry = nullptr; file && (entry = fgetpwent(file.get())) != nullptr;) {
        names += (names.empty() ? "" : ", ") + std::string(entry->pw_name);
    }
    return names.empty() ? "" : "; the users are " + names;
}

}  // namespace

std::optional<uid_t> FindUser(const std::string &name) {
    PVARN_USER found = nullptr;
    if (VARNUserGet(name.c_str(), &found) != 0) {
        Complain("there is no user '" + name + "'" + KnownUsers());
        return std::nullopt;
    }
    const std::unique_ptr<VARN_USER, decltype(&VARNUserFree)> user(found, VARNUserFree);
    return user->uid;
}

SameAccountAfter::SameAccountAfter() : uid_(geteuid()), gid_(getegid()) {}

SameAccountAfter::~SameAccountAfter() {
    if (geteuid() != uid_) {
        VLIBRestoreEffective(uid_, gid_);
    }
}

}  // namespace tonvale_cli
