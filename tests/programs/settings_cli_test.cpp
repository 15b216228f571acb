// The verbs of users, rights, preferences, smart playlists and a playlist's page.
#include <fcntl.h>
#include <json/json.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include "platform/child.h"
#include "programs/command.h"
#include "service/people/settings.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/packageconf.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

using SettingsVerbs = DatabaseTest;

TEST_F(SettingsVerbs, RightsAreSetAndUsersThatAreGoneAreRemoved) {
    ExpectDone({"permission", "set", "alice", "usb", "sharing"});
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 35U);
    ExpectDone({"permission", "set", "alice", "none"});
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
    ExpectDone({"permission", "set", "bob", "all"});
    EXPECT_TRUE(JsonOf({"permission", "show", "bob", "--json"})["upnp"].asBool());
    std::string accounts = ReadFile(At(varn::path::kPasswd));
    WriteFile(varn::path::kPasswd, accounts.substr(0, accounts.find("bob:")));
    EXPECT_TRUE(Contains(Tonvale({"user", "list"}).out, "(gone)"));
    EXPECT_EQ(Tonvale({"user", "sync"}).out, "Removed the entry of user id 1031.\n");
    const Json::Value users = JsonOf({"user", "list", "--json"});
    ASSERT_EQ(users.size(), 1U);
    EXPECT_EQ(users[0]["name"].asString(), "alice");
}

TEST_F(SettingsVerbs, TheNextCommandCompletesAUserAfterAKill) {
    const fs::path home = fs::read_symlink(At(varn::path::kHomes)) / "eve";
    std::string uid;
    for (int kills = 0; kills < 12 && !HasFailure(); ++kills) {
        Command killed({"user", "add", "eve", "--admin"});
        usleep(static_cast<useconds_t>(4000 * kills));
        killed.Signal(SIGKILL);
        const Finished again = Tonvale({"user", "add", "eve"});
        EXPECT_TRUE(again.status == 0 || Contains(again.err, "already")) << again.err;
        const std::string accounts = ReadFile(At(varn::path::kPasswd));
        const std::size_t line = accounts.find("\neve:x:");
        EXPECT_EQ(line, accounts.rfind("\neve:x:"));
        EXPECT_TRUE(Contains(ReadFile(At(varn::path::kGroup)), "eve"));
        EXPECT_TRUE(fs::is_directory(home / "music"));
        EXPECT_TRUE(ReadFile(At(varn::path::kLogins)).starts_with("eve:$6$"));
        EXPECT_EQ(AudioUsers::GetUserPermission("eve"), again.status == 0 ? 62U : 63U);
        EXPECT_NE(accounts.substr(line, 13), uid) << "a user id is given again";
        uid = accounts.substr(line, 13);
        ExpectDone({"user", "key", "add", "eve", "--for", "a phone"});
        Command half({"user", "remove", "eve", "--yes", "--delete-music"});
        usleep(static_cast<useconds_t>(8000 * kills));
        half.Signal(SIGKILL);
        Tonvale({"user", "remove", "eve", "--yes", "--delete-music"});
        EXPECT_FALSE(Contains(ReadFile(At(varn::path::kPasswd)) + ReadFile(At(varn::path::kGroup)) +
                                  ReadFile(At(varn::path::kLogins)),
                              "eve"));
        EXPECT_FALSE(fs::exists(home));
        EXPECT_EQ(Value("SELECT count(*) FROM access_key"), "0");
    }
}

TEST_F(SettingsVerbs, OfTwoCommandsAtOnceTheSlowerSeesTheOthersChange) {
    for (int round = 0; round < 4; ++round) {
        const std::string name = "twin" + std::to_string(round);
        Command admin({"user", "add", name, "--admin"});
        Command plain({"user", "add", name});
        const bool isAdmin = admin.Wait().status == 0;
        EXPECT_NE(plain.Wait().status == 0, isAdmin) << name;
        EXPECT_EQ(AudioUsers::GetUserPermission(name), isAdmin ? 63U : 62U) << name;
        Command password({"user", "passwd", name});
        const Finished removed = Tonvale({"user", "remove", name, "--yes"});
        password.Wait();
        EXPECT_TRUE(removed.status == 0 || Contains(removed.err, "try again")) << removed.err;
        EXPECT_EQ(Contains(ReadFile(At(varn::path::kLogins)), name), removed.status != 0);
    }
}

TEST_F(SettingsVerbs, AdministratorsSystemAccountsAndTheFirstLogin) {
    for (const char *name : {"root", "www-data", varn::kPackageAccount}) {
        EXPECT_TRUE(Contains(Tonvale({"user", "add", name}).err, "the system's own")) << name;
    }
    ExpectDone({"user", "rights", "alice", "--admin"});
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 63U);
    ExpectDone({"user", "rights", "alice", "none", "--no-admin"});
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 2U);
    EXPECT_TRUE(Contains(Tonvale({"user", "rights", "admin", "--no-admin"}).err, "stays"));
    WriteFile(varn::path::kInitialLogin, "admin:first\n");
    ExpectDone({"user", "passwd", "alice"});
    EXPECT_TRUE(fs::exists(At(varn::path::kInitialLogin)));
    ExpectDone({"user", "passwd", "admin"});
    EXPECT_FALSE(fs::exists(At(varn::path::kInitialLogin)));
}

// The test is the other writer: it has read the file already, and writes before it unlocks it.
TEST_F(SettingsVerbs, NoWriterLosesTheChangeOfAnother) {
    const std::string file = At(varn::path::kUsersFile);
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"permission", "set", "alice", "none"},
          {"preference", "set", "alice", "prefer_using_html5", "no"}}) {
        ExpectDone({"permission", "set", "alice", "usb"});
        const int held = open((file + ".lock").c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(flock(held, LOCK_EX), 0);
        Json::Value users;
        ASSERT_TRUE(AudioUsers::Read(users, file));
        Command waiting(arguments);
        usleep(300000);
        AudioUsers::SetUser(users, kBob, RIGHT_PLAYLIST);
        WriteFile(varn::path::kUsersFile, users.toStyledString());
        close(held);
        EXPECT_EQ(waiting.Wait().status, 0);
        EXPECT_EQ(AudioUsers::GetUserPermission("bob"), 6U) << arguments.front();
    }
    EXPECT_EQ(AudioUsers::GetUserPermission("alice"), 3U);
    EXPECT_FALSE(AudioFile::GetPreferHtml5(kAlice));
}

// Readers take no lock.
TEST_F(SettingsVerbs, KilledWritersLeaveTheOldSettingsOrTheNew) {
    const fs::path folder = At(varn::path::kUsersFile).parent_path();
    tonvale_service::SetPermission("alice", RIGHT_ALL);
    tonvale_service::SetCustomKey(1, "type", std::string(4000, 'a'), "title");
    const auto expectWhole = [] {
        Json::Value users;
        EXPECT_TRUE(AudioUsers::Read(users, At(varn::path::kUsersFile)));
        EXPECT_EQ(AudioUsers::GetUser(users, kAlice, false), 63U);
        std::string type, value, title;
        EXPECT_EQ(VARNAudioCustomGet(1, type, value, title), 0);
        EXPECT_EQ(value.size(), 4000U);
        EXPECT_TRUE(VARNAudioConfCheck("enable_personal_library", "yes", 0));
    };
    const pid_t reader = StartInChild([&] {
        while (!fs::exists(scratch() / "done") && !HasFailure()) {
            expectWhole();
        }
    });
    const auto write = [](bool turn) {
        tonvale_service::SetPreference(kAlice, "prefer_using_html5", turn ? "yes" : "no");
        tonvale_service::SetCustomKey(1, "type", std::string(4000, turn ? 'b' : 'a'), "title");
        VARNAudioConfSet("prefer_using_html5", turn ? "yes" : "no");
    };
    const auto files = [&] { return std::distance(fs::directory_iterator(folder), {}); };
    const auto before = files();
    for (int kills = 0; kills < 200 && !HasFailure(); ++kills) {
        const pid_t writer = StartInChild([&] {
            for (bool turn = true;; turn = !turn) {
                write(turn);
            }
        });
        usleep(static_cast<useconds_t>(kills * 7919 % 3000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        expectWhole();
    }
    std::ofstream(scratch() / "done") << "";
    EXPECT_TRUE(EndedWell(reader));
    write(true);
    EXPECT_EQ(files(), before) << "a temporary file is left";
}

TEST_F(SettingsVerbs, AProcessThatCannotGiveRootsRightsBackEnds) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root";
    }
    const pid_t child = StartInChild([] {
        ASSERT_EQ(VLIBSetEffective(kAlice, 100), 0);
        const varn::RunAs root(varn::Who::kRoot);
        DropSetUidRight();
    });
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << status;
}

TEST_F(SettingsVerbs, RefusalsNameTheMistake) {
    WriteFile(varn::path::kSmartPlaylists, "\"good\" { year > 1 limit 3 }\n\"bad\" { year }\n");
    ExpectSayings({
        {{"permission", "show", "nobody"}, 2, "alice, bob"},
        {{"user", "passwd", "nobody"}, 2, "no user 'nobody'"},
        {{"user", "passwd", "alice", "--password-stdin"}, 2, "8 to 256 bytes"},
        {{"user", "add", "eve", "--password-stdin"}, 2, "8 to 256 bytes"},
        {{"user", "key", "add", "bob"}, 0, ""},
        {{"user", "key", "remove", "alice", "1"}, 2, "no key 1"},
        {{"permission", "set", "alice", "everything"}, 2, "editsong"},
        {{"preference", "set", "alice", "colour", "yes"}, 2, "prefer_using_html5"},
        {{"preference", "set", "alice", "prefer_using_html5", "true"}, 2, "yes or no"},
        {{"smart", "show", "other"}, 2, "no smart playlist 'other'"},
        {{"smart", "show", "bad"}, 1, ".playlist:2:14: after 'year' comes"},
        {{"smart", "check"}, 1, ".playlist:1:19: warning: the limit is not kept"},
        {{"smart", "check", "/no/such"}, 2, "/no/such: No such file"},
        {{"smart", "check", "/proc/self/mem"}, 1, "cannot be read"},
        {{"playlist", "show", "12", "--json", "--additional", "song_tag"}, 2, "playlist '12'"},
        {{"playlist", "rename", "playlist_shared_smart/good", "x"}, 2, "its rules choose"},
        {{"playlist", "show", "playlist_shared_smart/good", "--additional", "all"}, 2, "song_tag"},
    });
    WriteFile(varn::path::kUsersFile, "nonsense");
    for (const char *words : {"user list", "permission set alice all", "user sync",
                              "preference set alice prefer_using_html5 yes"}) {
        ExpectSayings({{Words(words), 1, "audio.users"}});
        EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), "nonsense");
    }
    // Accounts that cannot be read are not gone.
    WriteFile(varn::path::kUsersFile, R"({"4711": {}})");
    const std::string accounts = ReadFile(At(varn::path::kPasswd));
    WriteFile(varn::path::kPasswd, accounts + std::string(17 << 20, 'x'));
    for (const char *why : {"accounts in ", "not prepared"}) {
        ExpectSayings({{{"user", "sync"}, 1, why}});
        EXPECT_EQ(ReadFile(At(varn::path::kUsersFile)), R"({"4711": {}})");
        fs::remove(At(varn::path::kPasswd));
    }
    WriteFile(varn::path::kPasswd, accounts);
}

}  // namespace

}  // namespace tonvale_test
