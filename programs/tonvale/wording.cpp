#include "wording.h"

#include <pwd.h>

#include "display.h"
#include "service/base/wording.h"
#include "varn/handles.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

// The names of the root's accounts; "" for a real installation's, which may be too many to list.
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

}  // namespace

std::string Worded(const tonvale_service::Failure &failure) {
    std::string text = tonvale_service::WhatFailedAndNext(failure);
    if (failure.Why() == tonvale_service::Reason::kNoSuchUser) {
        const std::string known = KnownUsers();
        text += known.empty() ? "" : "; the users are " + known;
    }
    return Printable(text);
}

}  // namespace tonvale_cli
