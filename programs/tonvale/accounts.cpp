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

AsPackageAccount::AsPackageAccount() {
    if (!*this) {
        Complain(std::string("cannot switch to the account ") + varn::kPackageAccount);
    }
}

}  // namespace tonvale_cli
