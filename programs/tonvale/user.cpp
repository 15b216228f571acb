#include "user.h"

#include <pwd.h>

#include "database.h"
#include "varn/handles.h"
#include "varn/systempath.h"

namespace tonvale_cli {

std::string KnownUsers() {
    if (SystemRoot().empty()) {
        return "";
    }
    const varn::File file(fopen(SystemPath(varn::path::kPasswd).c_str(), "re"));
    std::string names;
    for (const passwd *entry = nullptr; file && (entry = fgetpwent(file.get())) != nullptr;) {
        names += (names.empty() ? "" : ", ") + std::string(entry->pw_name);
    }
    return names;
}

bool IsPrepared() {
    const auto done = CheckRoot();
    if (!done) {
        Complain(done.Message());
    }
    return static_cast<bool>(done);
}

void StartForLinks() {
    if (auto done = StartDatabase(); !done) {
        Complain(done.Message());
    }
}

}  // namespace tonvale_cli
