#include "varn/account.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "support/fixture.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using varn::User;

// By its name or its id.
template <typename Key>
User Find(Key key) {
    PVARN_USER user = nullptr;
    int result = -1;
    if constexpr (std::is_integral_v<Key>) {
        result = VARNUserGetByUID(key, &user);
    } else {
        result = VARNUserGet(key, &user);
    }
    EXPECT_EQ(result == 0, user != nullptr);
    return User(user);
}

constexpr char kWithoutRoot[] = "TONVALE_TEST_WITHOUT_ROOT";

// Checks accounts in a process without a root. Returns 0, or the number of the check that failed.
int CheckSystemAccounts() {
    const passwd *entry = getpwuid(getuid());
    if (entry == nullptr) {
        return 0;  // an id without a name: nothing to compare with
    }
    const User byName = Find(entry->pw_name);
    const User byId = Find(getuid());
    if (!SystemRoot().empty() || SystemPath("/etc/passwd") != "/etc/passwd") {
        return 2;
    }
    const bool isFound = byName && byName->uid == getuid() && byId &&
                         byName->szHomeDir == std::string_view(entry->pw_dir) &&
                         byId->szName == std::string_view(entry->pw_name);
    if (!isFound || Find("no such account") || Find(4000000000u) || Find(static_cast<uid_t>(-1))) {
        return 3;
    }
    return ResetCredentialsByName(entry->pw_name) == 0 ? 0 : 4;
}

// A process reads its root once, and main() makes one. To test a system without a root, this
// program runs again and ends before main().
[[maybe_unused]] const bool kIsTestProgram = [] {
    if (std::getenv(kWithoutRoot) != nullptr) {
        _exit(CheckSystemAccounts());
    }
    return true;
}();

class Accounts : public SystemTest {
  protected:
    static std::string Home(const char *name, std::size_t size) {
        std::string out(size, '#');
        const int result = GetUserHomePath(name, out.data(), size);
        EXPECT_EQ(result == 0, out[0] != '\0');
        return out.c_str();
    }
};

TEST_F(Accounts, AreThoseOfTheSystemWithoutARoot) {
    const std::string self = fs::read_symlink("/proc/self/exe");
    const std::string mark = std::string(kWithoutRoot) + "=1";
    EXPECT_EQ(VLIBCExec("/usr/bin/env", "-u", "TONVALE_ROOT", mark.c_str(), self.c_str(), nullptr),
              0);
}

TEST_F(Accounts, AreThoseOfTheRootsFile) {
    // The file is read again after each change, also when two changes follow at once.
    for (unsigned uid = 1100; uid < 1150; ++uid) {
        WriteFile(varn::path::kPasswd, "alice:x:" + std::to_string(uid) + ":100::/a:/s\n");
        usleep(uid % 10 == 0 ? 25000 : 0);
        ASSERT_EQ(Find("alice")->uid, uid);
    }
    WriteFile(varn::path::kPasswd,
              "# comment\n\n::::::\nroot:x:0:0::/root:/bin/sh\nnothing\n"
              "half:x:12\nwords:x:a:b::/h:/s\nminus:x:-1:1::/h:/s\n"
              "wide:x:5000000000:1::/h:/s\nmost:x:4294967295:1::/h:/s\n"
              "long:x:1040:100:" +
                  std::string(100000, 'x') +
                  ":/home/long:/s\n"
                  "caf\xc3\xa9:x:1041:100::/v o/caf\xc3\xa9:/s\n"
                  "alice:x:1030:100::/first:/s\nalice:x:1032:100::/second:/s\n"
                  "homeless:x:1050:100:::\nlast:x:1060:100::/last:/s");
    const auto described = [](const User &user) {
        return std::string(user->szName) + " " + std::to_string(user->uid) + " " + user->szHomeDir;
    };
    EXPECT_EQ(described(Find("alice")), "alice 1030 /first");
    EXPECT_EQ(described(Find(1041u)), "caf\xc3\xa9 1041 /v o/caf\xc3\xa9");
    EXPECT_EQ(described(Find("long")), "long 1040 /home/long");
    EXPECT_EQ(described(Find("last")), "last 1060 /last");
    EXPECT_EQ(GetUserIdFromName("last"), 1060);
    for (const char *name : {"nothing", "half", "words", "minus", "wide", "most", "ALICE", "ali",
                             "", "alice:x", "# comment"}) {
        EXPECT_EQ(Find(name), nullptr) << name;
    }
    for (const uid_t uid : {12u, 9999u, static_cast<uid_t>(-1), 705032704u}) {
        EXPECT_EQ(Find(uid), nullptr) << uid;
    }
    EXPECT_EQ(Home("alice", 7), "/first");
    EXPECT_EQ(Home("alice", 6), "");
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_TOO_LONG);
    for (const char *name : {"homeless", "nosuch"}) {
        EXPECT_EQ(Home(name, 64), "");
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
    }
    fs::remove(At(varn::path::kPasswd));
    EXPECT_EQ(Find("alice"), nullptr);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
}

TEST_F(Accounts, HaveAPreferenceFolderOnlyUnderAName) {
    char out[4096];
    ASSERT_EQ(VARNUserPreferenceDirGet("o'brien \xc3\xa9", out, sizeof out), 0);
    EXPECT_EQ(out, root().string() + "/usr/varn/etc/preference/o'brien \xc3\xa9");
    EXPECT_EQ(VARNUserPreferenceDirGet("..a", out, sizeof out), 0);
    const std::string tooLong(5000, 'x');
    for (const char *name : {"", ".", "..", "../bob", "a/b", "/", tooLong.c_str()}) {
        EXPECT_EQ(VARNUserPreferenceDirGet(name, out, sizeof out), -1) << name;
        EXPECT_STREQ(out, "") << name;
        std::strcpy(out, "old");
    }
}

TEST_F(Accounts, HaveAPersonalLibraryWhenBothTheyAndTheSwitchAllow) {
    for (const char *value : {"yes", "no", "yes!", ""}) {
        const bool on = value == std::string_view("yes");
        WriteFile(varn::path::kPackageConf, std::string("enable_personal_library=") + value + "\n");
        EXPECT_EQ(IsPersonalLibraryEnabled(), on) << value;
        EXPECT_EQ(IsPersonalLibEnabled("alice"), on) << value;
        for (const char *name : {"nosuch", "", static_cast<const char *>(nullptr)}) {
            EXPECT_FALSE(IsPersonalLibEnabled(name));
        }
    }
}

TEST_F(Accounts, OwnThePathsBelowTheirMusicOnly) {
    const std::string deep = "/homes/alice/music/" + std::string(4000, 'd') + "/a.mp3";
    const std::vector<const char *> own = {"/homes/alice/music/a.mp3",
                                           "//homes/./alice//music/x/a.mp3",
                                           "/homes/alice/music/..a.mp3", deep.c_str()};
    const std::vector<const char *> others = {"/homes/alice/music",
                                              "/homes/alice/music/",
                                              "/homes/alice/music2/a.mp3",
                                              "/homes/alice/a.mp3",
                                              "/homes/alice2/music/a.mp3",
                                              "/homes/alice/music/../../bob/music/a.mp3",
                                              "homes/alice/music/a.mp3",
                                              "",
                                              nullptr};
    for (const auto *paths : {&own, &others}) {
        for (const char *path : *paths) {
            for (const char *home : {"/homes/alice", "/homes/alice/"}) {
                EXPECT_EQ(IsUnderPersonalLibPath(home, path), paths == &own)
                    << (path ? path : "null");
            }
            EXPECT_FALSE(IsUnderPersonalLibPath("", path)) << "would be everybody's /music";
            EXPECT_FALSE(IsUnderPersonalLibPath(nullptr, path));
        }
    }
}

// A home's path may hold symbolic links, which the indexer resolves.
TEST_F(Accounts, HavePersonalMusicWhereTheIndexerFindsIt) {
    const fs::path link = At(varn::path::kHomes);
    const fs::path homes = fs::canonical(link);
    const fs::path moved = scratch() / "moved";
    fs::create_directory(moved);
    fs::remove_all(homes / "bob");
    fs::create_symlink(moved, homes / "bob");
    fs::create_directory(moved / "dave");
    fs::create_directory(homes / "carol");
    fs::create_directory_symlink(homes, scratch() / "alias");
    const auto account = [](const char *name, const fs::path &home) {
        return std::string(name) + ":x:1030:100::" + home.string() + ":/s\n";
    };
    // Only carol's own entry tells that her home is among the homes.
    WriteFile(varn::path::kPasswd,
              account("alice", link / "alice") + account("bob", homes / "bob") +
                  account("carol", scratch() / "alias/carol") +
                  account("dave", homes / "bob/dave") + account("far", "/elsewhere/far"));
    const std::pair<fs::path, const char *> cases[] = {
        {homes / "alice/music/a.mp3", "alice"}, {link / "alice/music/a.mp3", "alice"},
        {moved / "music/a.mp3", "bob"},         {homes / "alice/a.mp3", ""},
        {homes / "gone/music/a.mp3", ""},       {"/elsewhere/far/music/a.mp3", ""},
        {homes / "carol/music/a.mp3", "carol"}, {moved / "dave/music/a.mp3", "dave"}};
    for (const auto &[path, owner] : cases) {
        for (const char *name : {"alice", "bob", "carol", "dave"}) {
            EXPECT_EQ(IsUnderPersonalLibPath(Home(name, 4096).c_str(), path.c_str()),
                      std::string_view(owner) == name)
                << path;
        }
        EXPECT_EQ(IsPersonalLibraryPath(path.c_str()), *owner != '\0') << path;
    }
    EXPECT_FALSE(IsPersonalLibraryPath(nullptr));
}

}  // namespace
