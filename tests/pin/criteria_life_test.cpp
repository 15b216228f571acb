#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "pin/pin_fixture.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using Tonvale::PinData;
using Tonvale::PinManager;
using tonvale_test::Pins;

class PinCriteria : public Pins {
  protected:
    static constexpr char kOwnFolder[] = "/usr/varn/etc/preference/alice/playlists";

    static Json::Value Playlist(const std::string &id) {
        return Object({{"playlist", id.c_str()}});
    }
};

// Effective user, effective group, supplementary groups.
std::tuple<uid_t, gid_t, std::vector<gid_t>> Identity() {
    std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
    groups.resize(
        static_cast<std::size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
    std::sort(groups.begin(), groups.end());
    return {geteuid(), getegid(), groups};
}

// A personal playlist is looked for as root; whoever asked must not stay it.
TEST_F(PinCriteria, LeaveTheProcessAsItWas) {
    if (!IsRoot()) {
        GTEST_SKIP() << "a process without rights runs as one account";
    }
    WriteFile(varn::path::kPackageConf, "enable_personal_library=\"no\"\n");
    WriteFile(std::string(kOwnFolder) + "/mine.m3u", "");
    const auto ask = [&](const char *key) {
        PinData pin;
        alice().Pin("playlist", Playlist(std::string("playlist_personal_normal/") + key), "n", pin);
    };
    constexpr const char *kKeys[] = {"mine", "gone", "", "..", "forged'\xff"};
    for (const char *account : {"root", varn::kPackageAccount, "alice"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ResetCredentialsByName(account, true), 0);
        const auto before = Identity();
        for (const char *key : kKeys) {
            ask(key);
            EXPECT_EQ(Identity(), before) << key;
        }
        BackToRoot();
    }
    ASSERT_EQ(VLIBSetEffective(4711, 4712), 0);  // a user without a name to switch back to
    for (const char *key : kKeys) {
        ask(key);
        EXPECT_EQ(geteuid(), 4711U) << key;
        EXPECT_EQ(getegid(), 4712U) << key;
    }
    BackToRoot();
}

}  // namespace
