#include <grp.h>
#include <unistd.h>

#include <array>

#include "platform/child.h"
#include "support/fixture.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

constexpr auto kSameUid = static_cast<uid_t>(-1);
constexpr auto kSameGid = static_cast<gid_t>(-1);
constexpr uid_t kNobody = 65534;

using Ids = std::array<unsigned, 6>;

class Credentials : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        WriteFile(varn::path::kPasswd,
                  "root:x:0:0::/root:/bin/sh\n"
                  "nobody:x:65534:65534::/:/bin/false\n"
                  "broken:x:abc:100::/:/bin/false\n"
                  "evil:x:-1:100::/:/bin/false\n"
                  "evil2:x:4294967295:100::/:/bin/false\n"
                  "alice:x:1030:100::/volume1/homes/alice:/bin/false\n");
        WriteFile(varn::path::kGroup,
                  "users:x:100:\nmedia:x:2001:bob,alice\nalices:x:2002:alice2\n"
                  "broken\nworld:x:4294967295:alice\nmedia:x:2003:alice\n");
    }
};

// The same with root's rights.
class RootCredentials : public Credentials {
  protected:
    void SetUp() override {
        Credentials::SetUp();
        if (!IsRoot()) {
            GTEST_SKIP() << "needs root";
        }
    }
};

TEST_F(RootCredentials, SwitchBackAndForth) {
    EXPECT_TRUE(HoldsInChild([] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        EXPECT_EQ(CurrentIds(), (Ids{0, 1030, 0, 0, 100, 0}));
        EXPECT_EQ(CurrentGroups(), (std::vector<gid_t>{100, 2001, 2003}));
        ASSERT_EQ(ResetCredentialsByName("nobody"), 0) << "from one account to another";
        EXPECT_EQ(CurrentIds(), (Ids{0, kNobody, 0, 0, kNobody, 0}));
        EXPECT_EQ(CurrentGroups(), std::vector<gid_t>{kNobody});
        ASSERT_EQ(ResetCredentialsByName("root"), 0);
        EXPECT_EQ(CurrentIds(), (Ids{}));
        EXPECT_EQ(CurrentGroups(), std::vector<gid_t>{0});
        ASSERT_EQ(ResetCredentialsByName("nobody"), 0);
        ASSERT_EQ(ResetCredentialsByName("alice", false), 0) << "for good";
        EXPECT_EQ(CurrentIds(), (Ids{1030, 1030, 1030, 100, 100, 100}));
        EXPECT_EQ(CurrentGroups(), (std::vector<gid_t>{100, 2001, 2003}));
        EXPECT_EQ(seteuid(0), -1);
    }));
}

TEST_F(RootCredentials, ChangeNothingForAnUnknownAccount) {
    EXPECT_TRUE(HoldsInChild([] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        const Ids before = CurrentIds();
        const auto groups = CurrentGroups();
        // Id 4294967295 means "leave as it is" to the kernel: a switch to it would stay root.
        for (const char *name : {"nosuch", "", "broken", "evil", "evil2", "ali", "alice2"}) {
            EXPECT_EQ(ResetCredentialsByName(name), -1) << name;
            EXPECT_EQ(ResetCredentialsByName(name, false), -1) << name;
            EXPECT_EQ(GetUserIdFromName(name), kSameUid) << name;
        }
        EXPECT_EQ(ResetCredentialsByName(nullptr), -1);
        EXPECT_EQ(CurrentIds(), before);
        EXPECT_EQ(CurrentGroups(), groups);
    }));
}

TEST_F(RootCredentials, ComeBackWhenASwitchFailsHalfWay) {
    EXPECT_TRUE(HoldsInChild([] {
        ASSERT_EQ(setgroups(1, std::array<gid_t, 1>{7}.data()), 0);
        DropSetUidRight();
        for (const bool effective : {true, false}) {
            EXPECT_EQ(ResetCredentialsByName("alice", effective), -1);
            EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PERMISSION);
            EXPECT_EQ(CurrentIds(), (Ids{}));
            EXPECT_EQ(CurrentGroups(), std::vector<gid_t>{7});
        }
        EXPECT_EQ(VLIBSetEffective(1030, 100), -1);
        EXPECT_EQ(CurrentIds(), (Ids{}));
    }));
    // More groups than the kernel takes, while another account is the effective one.
    std::string many;
    for (int id = 3000; id < 3000 + 65540; ++id) {
        many += "g:x:" + std::to_string(id) + ":bob\n";
    }
    WriteFile(varn::path::kGroup, many);
    WriteFile(varn::path::kPasswd, "bob:x:1031:100::/:\nalice:x:1030:100::/:\n");
    EXPECT_TRUE(HoldsInChild([] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        EXPECT_EQ(ResetCredentialsByName("bob"), -1);
        EXPECT_EQ(CurrentIds(), (Ids{0, 1030, 0, 0, 100, 0}));
        EXPECT_EQ(CurrentGroups(), std::vector<gid_t>{100});
    }));
}

TEST_F(RootCredentials, EndAScopeAsAfterwardsSays) {
    using varn::Afterwards;
    WriteFile(varn::path::kPasswd,
              "root:x:0:0::/root:/bin/sh\nTonvale:x:1040:1041::/:/bin/false\n"
              "alice:x:1030:100::/volume1/homes/alice:/bin/false\n");
    const struct {
        Afterwards afterwards;
        std::array<unsigned, 2> caller;
        std::array<unsigned, 2> ids;
        std::vector<gid_t> groups;
    } cases[] = {{Afterwards::kBack, {1030, 555}, {1030, 555}, {7}},
                 {Afterwards::kBackOrGoOn, {1030, 555}, {1030, 555}, {7}},
                 {Afterwards::kAccountBefore, {1030, 100}, {1030, 100}, {100, 2001, 2003}},
                 {Afterwards::kAccountBefore, {1030, 555}, {1030, 555}, {7}},
                 {Afterwards::kAccountBefore, {4242, 555}, {4242, 555}, {7}},
                 {Afterwards::kAccountBefore, {0, 555}, {0, 555}, {7}},  // not switched at all
                 {Afterwards::kPackage, {1030, 555}, {1040, 1041}, {1041}},
                 {Afterwards::kStay, {1030, 555}, {0, 0}, {0}}};
    for (const auto &[afterwards, caller, ids, groups] : cases) {
        EXPECT_TRUE(HoldsInChild([&, afterwards = afterwards, caller = caller] {
            ASSERT_EQ(setgroups(1, std::array<gid_t, 1>{7}.data()), 0);
            ASSERT_EQ(VLIBSetEffective(caller[0], caller[1]), 0);
            {
                const varn::RunAs root(varn::Who::kRoot, afterwards);
                EXPECT_TRUE(root && geteuid() == 0);
                EXPECT_EQ(getegid(), caller[0] == 0 ? caller[1] : 0);
            }
            EXPECT_EQ((std::array<unsigned, 2>{geteuid(), getegid()}), ids);
            EXPECT_EQ(CurrentGroups(), groups);
        })) << static_cast<int>(afterwards)
            << " for " << caller[0];
    }
    fs::remove(root() / "etc/passwd");
    EXPECT_TRUE(HoldsInChild([&] {  // a system without the package's account
        ASSERT_EQ(VLIBSetEffective(1030, 555), 0);
        EXPECT_FALSE(varn::RunAs(varn::Who::kPackage));
        varn::RunAs(varn::Who::kRoot, Afterwards::kPackage);
        EXPECT_EQ(geteuid(), 1030U);
    }));
}

TEST_F(RootCredentials, SetOnlyWhatIsAskedFor) {
    EXPECT_TRUE(HoldsInChild([] {
        const auto groups = CurrentGroups();
        ASSERT_EQ(VLIBSetEffective(1030, kSameGid), 0);
        EXPECT_EQ(CurrentIds(), (Ids{0, 1030, 0, 0, 0, 0}));
        ASSERT_EQ(VLIBSetEffective(kSameUid, 100), 0) << "a group, while not root";
        EXPECT_EQ(CurrentIds(), (Ids{0, 1030, 0, 0, 100, 0}));
        ASSERT_EQ(VLIBSetEffective(0, 0), 0);
        EXPECT_EQ(CurrentIds(), (Ids{}));
        EXPECT_EQ(CurrentGroups(), groups);
    }));
}

TEST_F(Credentials, CannotBeSwitchedWithoutRights) {
    EXPECT_TRUE(HoldsInChild([] {
        if (IsRoot()) {
            ASSERT_EQ(setgroups(0, nullptr), 0);
            ASSERT_EQ(setresgid(kNobody, kNobody, kNobody), 0);
            ASSERT_EQ(setresuid(kNobody, kNobody, kNobody), 0);
        }
        const Ids before = CurrentIds();
        const auto groups = CurrentGroups();
        for (const char *name : {"alice", "root", "nobody"}) {
            EXPECT_EQ(ResetCredentialsByName(name), 0) << name;
            EXPECT_EQ(ResetCredentialsByName(name, false), 0) << name;
        }
        EXPECT_EQ(VLIBSetEffective(0, 0), 0);
        EXPECT_EQ(ResetCredentialsByName("nosuch"), -1);
        EXPECT_EQ(CurrentIds(), before);
        EXPECT_EQ(CurrentGroups(), groups);
        EXPECT_EQ(VLIBCExec("/bin/true", nullptr, nullptr), 0);
    }));
}

}  // namespace
