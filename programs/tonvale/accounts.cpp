#include "accounts.h"

#include <unistd.h>

#include <array>

#include "database.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_cli {

std::string PreferenceFolder(const std::string &name) {
    std::array<char, 4096> folder = {};
    VARNUserPreferenceDirGet(name.c_str(), folder.data(), folder.size());
    return folder.data();
}

AsPackageAccount::AsPackageAccount()
    : wasRoot_(geteuid() == 0), good_(ResetCredentialsByName(varn::kPackageAccount) == 0) {
    if (!good_) {
        Complain(std::string("cannot switch to the account ") + varn::kPackageAccount);
    }
}

AsPackageAccount::~AsPackageAccount() {
    if (wasRoot_ && good_ && ResetCredentialsByName("root") != 0) {
        Complain("cannot switch back to root");
    }
}

}  // namespace tonvale_cli
