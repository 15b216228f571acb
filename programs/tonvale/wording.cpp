#include "wording.h"

#include "display.h"
#include "service/wording.h"
#include "user.h"

namespace tonvale_cli {

std::string Worded(const tonvale_service::Failure &failure) {
    std::string text = tonvale_service::WhatFailedAndNext(failure);
    if (failure.Why() == tonvale_service::Reason::kNoSuchUser) {
        const std::string known = KnownUsers();
        text += known.empty() ? "" : "; the users are " + known;
    }
    return Printable(text);
}

}  // namespace tonvale_cli
