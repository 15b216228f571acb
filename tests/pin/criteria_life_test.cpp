#include <unistd.h>

#include <tuple>

#include "pin/pin_fixture.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Tonvale::PinData;
using Tonvale::PinManager;

class PinCriteria : public Pins {
  protected:
    static constexpr char kOwnFolder[] = "/usr/varn/etc/preference/alice/playlists";

    static Json::Value Playlist(const std::string &id) {
        return Object({{"playlist", id.c_str()}});
    }
};

// A personal playlist is looked up as root. The caller gets its own identity back.
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
    for (const char *account : {varn::kPackageAccount, "alice"}) {
        ASSERT_EQ(ResetCredentialsByName(account, true), 0);
        const uid_t before = geteuid();
        for (const char *key : {"mine", "gone", "", "forged'\xff"}) {
            ask(key);
            EXPECT_EQ(geteuid(), before) << account << key;
        }
        BackToRoot();
    }
    ASSERT_EQ(VLIBSetEffective(4711, 4712), 0);  // a user without an account
    ask("mine");
    EXPECT_EQ(geteuid(), 4711U);
    EXPECT_EQ(getegid(), 4712U);
    BackToRoot();
}

TEST_F(PinCriteria, FailedConversionsChangeNothing) {
    using Conversion = bool (PinManager::*)(Json::Value &) noexcept;
    const struct {
        Conversion convert;
        Json::Value criteria;
        int error;
    } cases[] = {
        {&PinManager::ConvertFolderIdToPath, Object({{"folder", "dir_p_12"}}), 6},
        {&PinManager::ConvertFolderPathToID, Object({{"folder", "shared"}}), 1},
        {&PinManager::ConvertFolderPathToID, Object({{"folder", "shared"}, {"path", "/x"}}), 6},
        {&PinManager::ConvertFolderPathToID, Object({{"folder", "shared"}, {"path", "\xff"}}), 8},
        {&PinManager::ConvertPlaylistIdToPath, Playlist("playlist_shared_normal/9"), 7},
        {&PinManager::ConvertPlaylistPathToID, Object({{"playlist", "shared"}, {"path", "/x"}}), 7},
        {&PinManager::ConvertPlaylistPathToID, "text", 1},
    };
    for (const auto &[convert, criteria, error] : cases) {
        Json::Value converted = criteria;
        EXPECT_EQ(CodeOf((alice().*convert)(converted)), error) << criteria;
        EXPECT_EQ(converted, criteria);
    }
    for (const char *user : {"", "..", "alice/bob", "nobody-here"}) {
        PinManager unknown(kAlice, user);
        Json::Value other = Playlist("playlist_personal_normal/x");
        EXPECT_EQ(CodeOf(unknown, unknown.ConvertPlaylistIdToPath(other)), 9) << user;
    }
}

// The prefix of an identifier is cut off by its length. The rest must be a number.
TEST_F(PinCriteria, FoldersAreFoundByTheirNumber) {
    Query(
        "INSERT INTO directory(id, path) VALUES (12, '/music');"
        "INSERT INTO personal_directory(userid, id, path) VALUES (1030, 2, '/homes/alice'), "
        "(1031, 3, '/homes/bob')");
    for (const auto &[id, library, path] :
         {std::tuple("dir_12", "shared", "/music"), std::tuple("xyz_12", "shared", "/music"),
          std::tuple("dir_p_2", "personal", "/homes/alice"),
          std::tuple("dir_p12", "personal", "/homes/alice")}) {
        Json::Value criteria = Object({{"folder", id}});
        EXPECT_TRUE(alice().ConvertFolderIdToPath(criteria)) << id;
        EXPECT_EQ(criteria, Object({{"folder", library}, {"path", path}})) << id;
    }
    for (const char *id : {"dir_p_3", "dir_p_12", "dir_2", "dir_ 12", "dir_-12", "dir_12x"}) {
        Json::Value criteria = Object({{"folder", id}});
        EXPECT_EQ(CodeOf(alice().ConvertFolderIdToPath(criteria)), 6) << id;
    }
}

// Rows that others wrote: the pin can still be renamed and removed.
TEST_F(PinCriteria, AreNullWhereTheStoredTextIsDamaged) {
    const std::string id = Pin("genre", Object({{"genre", "x"}}));
    for (const std::string &text :
         {std::string(), std::string("no json"), std::string(100000, '[')}) {
        for (const char *type : {"genre", "folder", "unknown"}) {
            Query("UPDATE pin SET type = '" + std::string(type) + "', criteria = '" + text + "'");
            const std::vector<PinData> pins = List(alice());
            ASSERT_EQ(pins.size(), 1U);
            EXPECT_TRUE(pins[0].criteria.isNull()) << type << " " << text.substr(0, 20);
        }
    }
    EXPECT_TRUE(alice().Rename(id, "x"));
    EXPECT_TRUE(alice().Unpin(id));
}

}  // namespace
