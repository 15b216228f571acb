// The verbs share and pin.
#include <unistd.h>

#include <fstream>
#include <set>

#include "programs/command.h"
#include "sharing/shared_library.h"
#include "support/eventually.h"
#include "tonvale/library.h"

namespace tonvale_test {

namespace {

class ShareVerbs : public SharedLibraryTest {
  protected:
    static Finished As(const char *user, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 2, {"--user", user});
        return Tonvale(std::move(arguments));
    }
    // The output of a verb of alice's, without its line end.
    static std::string Alice(std::vector<std::string> arguments) {
        const Finished done = As("alice", std::move(arguments));
        EXPECT_EQ(done.status, 0) << done.err;
        return done.out.substr(0, done.out.find_last_not_of('\n') + 1);
    }
};

TEST_F(ShareVerbs, PrintTheAddressOfALink) {
    WriteFile(varn::path::kWebConf, "# http 127.0.0.1 8123\n");
    const Finished made = As("alice", {"share", "create", "A \"list\"", "--until", "2999-12-31"});
    ExpectSaid(made, "127.0.0.1:8123, which only this machine reaches");
    const std::string url = made.out.substr(0, made.out.find('\n'));
    ASSERT_TRUE(url.starts_with("http://127.0.0.1:8123/as/sharing/")) << url;
    const std::string id = url.substr(url.rfind('/') + 1);
    EXPECT_EQ(Alice({"share", "update", id, "--address", "https://music.example.org:444"}),
              "https://music.example.org:444/as/sharing/" + id);
    WriteFile(varn::path::kWebConf, "# https ::1 444\n");
    EXPECT_EQ(Alice({"share", "update", "playlist_shared_normal/12"}),
              "https://[::1]:444/as/sharing/" + id);
    WriteFile(varn::path::kSystemInfo, "external_host_ip=\"nas.example.org\"\n");
    const std::string table = Alice({"share", "list"});
    EXPECT_TRUE(Contains(table, id + "  A \"list\"")) << table;
    EXPECT_TRUE(Contains(table, "https://nas.example.org:444/as/sharing/" + id)) << table;
    EXPECT_TRUE(Contains(table, "1-1 of 1 link")) << table;

    const Finished song = As("alice", {"share", "song", std::to_string(track1_)});
    EXPECT_TRUE(Contains(song.out, "/L211c2lj")) << song.out;
    EXPECT_EQ(song.err, "") << "others reach nas.example.org";
    EXPECT_EQ(Alice({"share", "delete", id}), "");

    ExpectSayings({
        {{"share", "list", "--user", "bob"}, 2, "may not share"},
        {{"share", "create", "unknown", "--user", "alice"}, 2, "there is no playlist 'unknown'"},
        {{"share", "create", "12", "--from", "2999-01-01", "--user", "alice"}, 2, "last day"},
        {{"share", "list", "--address", "http://a/b", "--user", "alice"}, 2, "no address"},
    });
}

TEST_F(ShareVerbs, OfTwoCommandsAtOnceOneMakesTheLink) {
    // Both read before either of them can write.
    DBConnect_tag *database = AudioInfoDBConnect();
    ASSERT_NE(VARNDBExecute(database, "BEGIN", nullptr), -1);
    ASSERT_NE(VARNDBExecute(database, "LOCK TABLE playlist_sharing IN SHARE MODE", nullptr), -1);
    const std::vector<std::string> create = {"share", "create", "--user", "alice", "12"};
    Command first(create);
    Command second(create);
    EXPECT_TRUE(
        Eventually([] { return Value("SELECT COUNT(*) FROM pg_locks WHERE NOT granted") == "2"; }));
    VARNDBClose(database);
    const int statuses = first.Wait().status + second.Wait().status;
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "1");
    EXPECT_EQ(statuses, 2) << "one is told that the link is there";
}

TEST_F(ShareVerbs, HoldNoLockWhileTheyAskForTheAddress) {
    // The program that knows the outer address waits for the file "go".
    const fs::path asked = scratch() / "asked";
    const fs::path go = scratch() / "go";
    WriteFile(varn::path::kDynamicDns, "#!/bin/sh\necho > " + asked.native() +
                                           "\nwhile test ! -e " + go.native() +
                                           "; do sleep 0.1; done\n");
    fs::permissions(At(varn::path::kDynamicDns), fs::perms(0755));
    for (const std::string &verb : {std::string("create 12"), "song " + std::to_string(track1_)}) {
        Command command(Words("share " + verb + " --user alice"));
        EXPECT_TRUE(Eventually([&] { return fs::exists(asked); })) << verb;
        EXPECT_EQ(Value("SELECT COUNT(*) FROM pg_locks WHERE locktype = 'advisory' AND "
                        "database = (SELECT oid FROM pg_database WHERE datname = "
                        "current_database())"),
                  "0")
            << verb;
        std::ofstream(go).put('x');
        EXPECT_EQ(command.Wait().status, 0) << verb;
        EXPECT_TRUE(fs::remove(asked) && fs::remove(go)) << verb;
    }
}

// Links follow what other verbs change.
class LinksFollow : public ShareVerbs {
  protected:
    // bob may share, like alice.
    void SetUp() override {
        ShareVerbs::SetUp();
        WriteFile(varn::path::kUsersFile,
                  R"({"1030": {"sharing": true}, "1031": {"sharing": true, "usb": true}})");
    }
    static std::string Create(const char *user, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"share", "create"});
        const Finished made = As(user, arguments);
        EXPECT_EQ(made.status, 0) << made.err;
        return made.out.substr(0, made.out.size() - 1).substr(made.out.rfind('/') + 1);
    }
    // The links that are left, by their identifiers.
    static std::set<std::string> Left() {
        std::set<std::string> ids;
        for (const auto &row : Query("SELECT id FROM playlist_sharing")) {
            ids.insert(row.front());
        }
        return ids;
    }
    // The database fails to delete the links of a condition.
    static void RefuseDeletions(const std::string &condition) {
        Query(
            "CREATE OR REPLACE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN "
            "RAISE 'refused'; END$$;"
            "DROP TRIGGER IF EXISTS refuse ON playlist_sharing;"
            "CREATE TRIGGER refuse BEFORE DELETE ON playlist_sharing FOR EACH ROW WHEN (" +
            condition + ") EXECUTE FUNCTION refuse()");
    }
    static std::string PlaylistOf(const std::string &link) {
        return Value("SELECT playlist_id || ' ' || path FROM playlist_sharing WHERE id = '" + link +
                     "'");
    }
};

TEST_F(LinksFollow, SharedPlaylists) {
    Touch(In("other.m3u"));
    const std::string other = AddRow(In("other.m3u"), "other", "");
    const std::string alices = Create("alice", {"12"});
    const std::string bobs = Create("bob", {"12"});
    const std::string kept = Create("bob", {other});
    ExpectDone({"playlist", "rename", "12", "It's 100%_new"});
    EXPECT_EQ(PlaylistOf(alices), "playlist_shared_normal/12 " + In("It's 100%_new.m3u"));
    EXPECT_EQ(PlaylistOf(bobs), PlaylistOf(alices));
    EXPECT_EQ(Tonvale({"playlist", "rename", "12", "a/b"}).status, 2);
    EXPECT_EQ(PlaylistOf(bobs), PlaylistOf(alices));
    // A new index gave this playlist the number under which the other one's link is stored.
    Query("UPDATE playlist_sharing SET playlist_id = 'playlist_shared_normal/12' WHERE id = '" +
          kept + "'");
    ExpectDone({"playlist", "delete", "12"});
    EXPECT_EQ(Left(), std::set<std::string>{kept});
}

TEST_F(LinksFollow, OwnPlaylistsOfTheSameName) {
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    fs::permissions(At(varn::path::kPackageConf), fs::perms(0644));
    for (const char *user : {"alice", "bob"}) {
        ExpectDone({"playlist", "create", "mine", "--personal", "--user", user});
    }
    const std::string alices = Create("alice", {"mine", "--personal"});
    const std::string bobs = Create("bob", {"mine", "--personal"});
    ExpectDone({"playlist", "rename", "mine", "hers", "--personal", "--user", "alice"});
    EXPECT_TRUE(PlaylistOf(alices).starts_with("playlist_personal_normal/hers /"));
    EXPECT_TRUE(PlaylistOf(bobs).starts_with("playlist_personal_normal/mine /"));
    ExpectDone({"playlist", "rename", "hers", "mine", "--personal", "--user", "alice"});
    ExpectDone({"playlist", "delete", "mine", "--personal", "--user", "alice"});
    EXPECT_EQ(Left(), std::set<std::string>{bobs});
}

TEST_F(LinksFollow, RightsAndPersonalLibraries) {
    Touch(In("own.m3u"));
    AddRow(In("own.m3u"), "own", "", kBob);
    Create("alice", {"12"});
    const std::string shared = Create("bob", {"12"});
    Create("bob", {"own", "--personal"});
    EXPECT_EQ(As("bob", {"share", "song", std::to_string(rock_)}).status, 0);
    ExpectDone({"permission", "set", "bob", "sharing", "streaming"});
    EXPECT_EQ(Left().size(), 4U);
    EXPECT_EQ(Tonvale({"personal-libraries"}).out, "on\n");
    RefuseDeletions("true");
    EXPECT_EQ(Tonvale({"personal-libraries", "off"}).status, 1);
    EXPECT_EQ(Tonvale({"personal-libraries"}).out, "off\n");
    EXPECT_EQ(Left().size(), 4U);
    RefuseDeletions("false");
    ExpectDone({"personal-libraries", "off"});
    EXPECT_EQ(Left().size(), 2U) << "what failed may be repeated";
    ExpectDone({"permission", "set", "alice", "usb"});
    EXPECT_EQ(Left(), std::set<std::string>{shared});
    // The next owner of the user id does not get the links.
    const std::string accounts = ReadFile(At(varn::path::kPasswd));
    WriteFile(varn::path::kPasswd, accounts.substr(0, accounts.find("bob:")));
    ExpectDone({"user", "sync"});
    EXPECT_TRUE(Left().empty());
}

TEST_F(LinksFollow, UsersThatAreGone) {
    const std::string alices = Create("alice", {"12"});
    for (const char *owner : {"4998", "-4", "4997"}) {  // -4: 4294967292
        Query("INSERT INTO playlist_sharing (id, user_id, playlist_id) VALUES ('of" +
              std::string(owner) + "', " + owner + ", 'playlist_shared_normal/12')");
    }
    RefuseDeletions("OLD.user_id = 4998");
    ExpectSayings({{{"user", "sync"}, 1, "user ids 4998 are still there"}});
    EXPECT_EQ(Left(), (std::set<std::string>{alices, "of4998"}));
    RefuseDeletions("false");
    ExpectDone({"user", "sync"});
    EXPECT_EQ(Left(), std::set<std::string>{alices});
    // Administrators may share without an entry, others not.
    const std::string bobs = Create("bob", {"12"});
    WriteFile(varn::path::kUsersFile, "{}");
    MakeAdministrator("alice");
    ExpectDone({"user", "sync"});
    EXPECT_EQ(Left(), std::set<std::string>{alices});
}

TEST_F(ShareVerbs, KeepPins) {
    Alice({"pin", "add", "album", "It's \"mine\"", "album=A=B"});
    EXPECT_EQ(Alice({"pin", "remove", Alice({"pin", "add", "random_100", "x"})}), "");
    EXPECT_TRUE(Contains(Alice({"pin", "list"}), "1-1 of 1 pin"));
    ExpectSayings({
        {{"pin", "list", "--json", "--user", "alice"}, 0, R"({"album":"A=B"})"},
        {{"pin", "add", "album", "n", "album=1", "album=2", "--user", "alice"}, 2, "KEY=VALUE"},
    });
}

}  // namespace

}  // namespace tonvale_test
