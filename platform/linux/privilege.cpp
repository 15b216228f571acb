// What users may do: the administrators' group and the applications.
#include <algorithm>
#include <string>
#include <string_view>

#include "linux/accounts.h"
#include "linux/error.h"
#include "linux/keyfile.h"
#include "linux/keytext.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

constexpr char kAdministrators[] = "administrators";
constexpr std::string_view kEveryoneElse = "*";
constexpr std::string_view kAllow = "allow";

}  // namespace

int VLIBAppPrivUserHas(const char *userName, const char *application, const char *ip) {
    if (!NonEmptyStr(userName) || !NonEmptyStr(application) || !NonEmptyStr(ip) ||
        std::string_view(application).find('/') != std::string_view::npos) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto text = varn::ReadKeyFile(
            SystemPath(std::string(varn::path::kAppPrivileges) + "/" + application));
        if (!text) {
            return 0;
        }
        auto value = varn::keytext::Find(*text, userName);
        if (!value) {
            value = varn::keytext::Find(*text, kEveryoneElse);
        }
        return value && *value == kAllow ? 1 : 0;
    });
}

int VLIBGroupIsAdminGroupMem(const char *userName, int /*flag*/) {
    if (!NonEmptyStr(userName)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto account = varn::FindAccount(std::string(userName));
        const auto groups = account ? varn::GroupsOf(*account) : std::nullopt;
        if (!groups) {
            return -1;
        }
        const auto administrators = varn::FindGroup(kAdministrators);
        return administrators &&
                       std::find(groups->begin(), groups->end(), *administrators) != groups->end()
                   ? 1
                   : 0;
    });
}
