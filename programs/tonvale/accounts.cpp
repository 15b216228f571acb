#include "accounts.h"

#include <array>
#include <memory>

#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

struct UserFree {
    void operator()(PVARN_USER user) const noexcept { VARNUserFree(user); }
};
using User = std::unique_ptr<VARN_USER, UserFree>;

}  // namespace

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
