#include "user.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "database.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_cli {

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
    return names;
}

SameAccountAfter::SameAccountAfter() : uid_(geteuid()), gid_(getegid()) {}

SameAccountAfter::~SameAccountAfter() {
    if (geteuid() != uid_) {
        VLIBRestoreEffective(uid_, gid_);
    }
}

}  // namespace tonvale_cli
