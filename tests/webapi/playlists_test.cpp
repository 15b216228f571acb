// The web API's playlists.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "service/people/settings.h"
#include "tonvale/settings.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;
using namespace std::string_literals;

class PlaylistApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        fs::create_directories(music());
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
        std::string songs;
        for (const auto &[id, userid] :
             {std::pair(1, 0U), {2, 0U}, {3, 0U}, {4, kAlice}, {5, kBob}}) {
            const std::string path = music() / (std::to_string(id) + ".mp3");
            std::ofstream(path) << "sound";
            songs += InsertSql({.id = id, .userid = userid, .path = path, .title = path});
        }
        Query(songs);
        tonvale_service::SetPermission("bob", RIGHT_PLAYLIST);
    }
    static fs::path music() { return scratch() / "music"; }

    static Texts Names(const Given &parameters = {}, const std::string &user = "alice") {
        return Each(Ask("Playlist/list", parameters, user)["playlists"], "name");
    }
    static Texts Songs(const std::string &id, const std::string &user = "alice") {
        return Each(Ask("Playlist/get", {{"id", id}}, user)["songs"]);
    }
    // Makes a playlist, changes it in every way, and deletes it.
    static void GoThrough(const std::string &library, const std::string &user) {
        const std::string name = "O'Brien & 100% \"x\" \xC3\xA9, y";
        const Given wanted = {{"library", library}, {"name", name}, {"songs", "music_1,music_2"}};
        std::string id = Ask("Playlist/create", wanted, user)["id"].asString();
        EXPECT_EQ(CodeOf("Playlist/create", wanted, user), 409);
        EXPECT_EQ(Names({{"library", library}}, user), Texts{name});
        const auto change = [&](const char *method, Given parameters) {
            parameters.emplace_back("id", id);
            return Ask("Playlist/"s + method, parameters, user);
        };
        // Another client has its places from before a change that leaves the file's size as it was.
        const std::string seen = change("get", {})["state"].asString();
        const Json::Value swapped =
            change("replace", {{"position", "0"}, {"length", "2"}, {"songs", "music_2,music_1"}});
        for (const char *method : {"add", "remove", "replace", "remove_missing"}) {
            const Given stale = {
                {"id", id}, {"seen", seen}, {"position", "0"}, {"songs", "music_3"}};
            const std::string asked = "Playlist/"s + method;
            EXPECT_EQ(CodeOf(asked, Taken(asked, stale), user), 409) << method;
        }
        change("add", {{"seen", swapped["state"].asString()},
                       {"songs", "[\"music_1\",\"http://r.example/live?a=1,2\"]"}});
        change("add", {{"songs", "music_3,music_1"}, {"skip_duplicate", "true"}});
        const std::string stream =
            "remote_{\"album\":\"\",\"artist\":\"\",\"cover\":\"\",\"duration\":0,"
            "\"title\":\"live?a=1,2\"}\n http://r.example/live?a=1,2";
        EXPECT_EQ(Songs(id, user), (Texts{"music_2", "music_1", "music_1", stream, "music_3"}));
        change("remove", {{"position", "0,4"}});
        change("replace", {{"position", "0"}, {"length", "2"}, {"songs", "music_3"}});
        EXPECT_EQ(Songs(id, user), (Texts{"music_3", stream}));
        change("replace", {{"position", "1"}, {"length", "1"}, {"songs", "music_1,music_2"}});
        Query("DELETE FROM track WHERE id = 2");
        change("remove_missing", {});
        const Json::Value page = change("get", {{"offset", "1"}, {"additional", "song_tag"}});
        EXPECT_EQ(page["total"].asInt(), 2);
        EXPECT_TRUE(page["songs"][0]["additional"].isMember("song_tag"));
        for (const auto &[method, position] : {std::pair("replace", "3"), {"remove", "0,2"}}) {
            const Given beyond = {{"id", id}, {"position", position}, {"songs", "music_1"}};
            EXPECT_EQ(CodeOf("Playlist/"s + method, beyond, user), 400) << method;
        }
        id = change("rename", {{"name", "New"}})["id"].asString();
        EXPECT_EQ(Names({{"library", library}}, user), Texts{"New"});
        EXPECT_EQ(Songs(id, user), (Texts{"music_3", "music_1"}));
        change("delete", {});
        EXPECT_EQ(Names({{"library", library}}, user), Texts());
        Query(InsertSql({.id = 2, .path = music() / "2.mp3"}));
    }
};

TEST_F(PlaylistApi, MakesChangesAndDeletesPlaylists) {
    GoThrough("shared", "bob");
    GoThrough("personal", "alice");
    const std::string monday = Ask("Playlist/create?name=Monday")["id"].asString();
    Ask("Playlist/create?name=Sunday&format=pls");
    EXPECT_EQ(CodeOf("Playlist/create?name=Sunday&format=m3u"), 409);
    // The same in a folder that is closed to the package's account.
    const fs::path folder =
        fs::path(Value("SELECT min(path) FROM personal_playlist")).parent_path();
    fs::permissions(folder, fs::perms::owner_all);
    EXPECT_EQ(CodeOf("Playlist/rename", {{"id", monday}, {"name", "Sunday"}}), 409);
    fs::permissions(folder, fs::perms(0777));
    Configure("enable_personal_library", "no");
    GoThrough("personal", "alice");
    EXPECT_EQ(CodeOf("Playlist/create?name=x&format=pls"), 400);
}

// Several requests change one list at once. Afterwards files and names agree.
TEST_F(PlaylistApi, KeepsOneOfSeveralRenamesAtOnce) {
    const auto round = [](const std::string &library, const std::string &name, bool isDeleted) {
        const std::string id =
            Ask("Playlist/create", {{"library", library}, {"name", name}}, "bob")["id"].asString();
        const Texts methods = Words(isDeleted ? "rename rename rename add get delete delete"
                                              : "rename rename rename add get");
        std::vector<pid_t> children;
        for (const std::string &method : methods) {
            const std::string newName = name + (children.empty() ? "b" : "c");
            children.push_back(StartInChild([&] {
                const Given given = Taken("Playlist/" + method,
                                          {{"id", id}, {"name", newName}, {"songs", "music_1"}});
                const int code = CodeOf("Playlist/" + method, given, "bob");
                EXPECT_TRUE(code == 0 || (code == 409 && method == "rename") ||
                            (code == 404 && (isDeleted || library == "personal")))
                    << method << ": " << code;
            }));
        }
        EXPECT_EQ(std::count_if(children.begin(), children.end(), EndedWell), ssize(children));
    };
    const auto check = [](const std::string &library, const fs::path &folder, std::size_t count) {
        std::set<std::string> files;
        for (const fs::path &file : fs::directory_iterator(folder)) {
            files.insert(file.stem());
        }
        EXPECT_EQ(Texts(files.begin(), files.end()), Names({{"library", library}}, "bob"));
        EXPECT_EQ(files.size(), count);
    };
    for (const char *name : {"u", "v", "w", "x"}) {
        round("shared", name, *name > 'v');
    }
    check("shared", music() / "playlists", 2);
    Configure("enable_personal_library", "no");
    round("personal", "y", false);
    check("personal", At("/usr/varn/etc/preference/bob/playlists"), 1);
}

TEST_F(PlaylistApi, ListsNormalAndSmartPlaylistsInPages) {
    WriteFile(varn::path::kSmartPlaylists,
              "\"good\" { year >= 0 }\n\"bad\" { year }\n\"../..\" { year > 1 }\n");
    WriteFile("/usr/varn/etc/preference/alice/playlists/smart.playlist",
              "\"her \xC3\xA9\" { year < 9 }\n");
    Query(
        "INSERT INTO playlist (path, title, album) VALUES ('/v/a.m3u', 'a', 'v'), "
        "('/v/b.m3u', 'b', 'v'), ('/v/c.cue', 'c', 'v');"
        "INSERT INTO personal_playlist (userid, path, title, album) VALUES "
        "(1030, '/h/hers.m3u', 'hers', 'h'), (1031, '/h/his.m3u', 'his', 'h')");
    const Texts all = {"hers", "her \xC3\xA9", "a", "b", "good", "../.."};
    EXPECT_EQ(Names(), all);
    EXPECT_EQ(Names({{"library", "personal"}}), (Texts{"hers", "her \xC3\xA9"}));
    for (std::size_t offset = 0; offset < 7; ++offset) {
        const Json::Value page =
            Ask("Playlist/list", {{"offset", std::to_string(offset)}, {"limit", "2"}});
        const std::size_t end = std::min<std::size_t>(offset + 2, 6);
        EXPECT_EQ(Each(page["playlists"], "name"),
                  Texts(all.begin() + static_cast<long>(std::min(offset, end)),
                        all.begin() + static_cast<long>(end)));
        EXPECT_EQ(page["total"].asInt(), 6);
    }
    const Texts ids = Each(Ask("Playlist/list")["playlists"]);
    EXPECT_EQ(ids[1], "playlist_personal_smart/her \xC3\xA9");
    EXPECT_EQ(Songs(ids[1]).size(), 4U);
    EXPECT_EQ(Songs(ids[4], "bob").size(), 4U);
    EXPECT_EQ(CodeOf("Playlist/get", {{"id", ids[1]}}, "bob"), 404);
    EXPECT_EQ(CodeOf("Playlist/get?id=playlist_shared_smart/bad"), 404);
}

// Rules that were written by hand and by the API, in one file.
class SmartPlaylistApi : public PlaylistApi {
  protected:
    static constexpr char kOthers[] = "# mine\n\"bad\" { year }\n\"old\" { # all\n year >= 0 }";
    static constexpr char kName[] = R"(a "b\c)";

    void SetUp() override {
        PlaylistApi::SetUp();
        WriteFile(varn::path::kSmartPlaylists, kOthers);
        Query("UPDATE track SET year = id");
        tonvale_service::SetPermission("alice", RIGHT_SHARING);
        tonvale_service::SetPermission("bob", RIGHT_PLAYLIST | RIGHT_SHARING);
    }
    static std::string File() { return ReadFile(At(varn::path::kSmartPlaylists)); }
    static Given Smart(const std::string &library, const std::string &rule) {
        return {{"library", library}, {"name", kName}, {"rule", rule}};
    }
    static std::string Create(const Given &given, const std::string &user) {
        return Ask("Playlist/create_smart", given, user)["id"].asString();
    }
    static int Link(const char *method, const std::string &id, const std::string &user) {
        return CodeOf("Sharing/"s + method, {{"playlist_id", id}}, user);
    }
};

TEST_F(SmartPlaylistApi, PreviewsRulesAndRefusesBadOnes) {
    const Json::Value tried =
        Ask("Playlist/preview", {{"rule", "year <= 3 # at most"}, {"limit", "2"}});
    EXPECT_EQ(tried["total"].asInt(), 3);
    EXPECT_EQ(tried["songs"].size(), 2U);
    for (const char *rule : {"year", "year > 1 } \"x\" { year > 2", "year > 1 }", "}",
                             "title is \"", "year > 1 order by"}) {
        EXPECT_EQ(CodeOf("Playlist/create_smart", Smart("shared", rule), "bob"), 400) << rule;
        EXPECT_EQ(CodeOf("Playlist/preview", {{"rule", rule}}), 400) << rule;
    }
    EXPECT_EQ(File(), kOthers);
}

// Bob has one of his own by the name of alice's, and its link stays.
TEST_F(SmartPlaylistApi, ChangesThePlaylistThatIsMeant) {
    const std::string his = Create(Smart("personal", "year > 1"), "bob");
    EXPECT_EQ(Link("create", his, "bob"), 0);
    for (const std::string user : {"alice", "bob"}) {
        const Given smart = Smart(user == "bob" ? "shared" : "personal", "year > 1 # x");
        const std::string id = Create(smart, user);
        EXPECT_EQ(CodeOf("Playlist/create_smart", smart, user), 409);
        EXPECT_EQ(Ask("Playlist/rule", {{"id", id}}, user)["rule"], "year > 1 # x");
        Ask("Playlist/set_rule", {{"id", id}, {"rule", "year is 2"}}, user);
        EXPECT_EQ(Songs(id, user), Texts{"music_2"});
        for (const char *method : {"set_rule", "rename", "delete"}) {
            const Given given = {{"id", id}, {"name", "x"}, {"rule", "year > 9"}};
            EXPECT_EQ(user == "bob" ? CodeOf("Playlist/"s + method, given) : 403, 403) << method;
        }
        EXPECT_EQ(Link("create", id, user), 0);
        EXPECT_EQ(CodeOf("Playlist/rename", {{"id", id}, {"name", kName}}, user), 409);
        const std::string renamed =
            Ask("Playlist/rename", {{"id", id}, {"name", "other"}}, user)["id"].asString();
        EXPECT_EQ(Link("get", renamed, user), 0);
        EXPECT_EQ(Songs(renamed, user), Texts{"music_2"});
        Ask("Playlist/delete", {{"id", renamed}}, user);
        EXPECT_EQ(CodeOf("Playlist/get", {{"id", renamed}}, user), 404);
    }
    EXPECT_EQ(Link("get", his, "bob"), 0);
    EXPECT_EQ(Value("SELECT count(*) FROM playlist_sharing"), "1");
    EXPECT_EQ(File(), kOthers + "\n"s);
    Ask("Playlist/set_rule", {{"id", "playlist_shared_smart/old"}, {"rule", "year is 1"}}, "bob");
    EXPECT_EQ(File(), "# mine\n\"bad\" { year }\n\"old\" {\nyear is 1\n}\n");
}

// Every user may read the rules that the API writes.
TEST_F(SmartPlaylistApi, CopiesNoRulesThatOnlyRootMayRead) {
    const std::string path = At(varn::path::kSmartPlaylists);
    fs::rename(path, path + ".roots");
    EXPECT_EQ(chmod((path + ".roots").c_str(), 0600), 0);
    fs::create_symlink(path + ".roots", path);
    EXPECT_EQ(CodeOf("Playlist/create_smart", Smart("shared", "year > 1"), "bob"),
              IsRoot() ? 500 : 0);
    EXPECT_EQ(fs::is_symlink(path), IsRoot());
}

TEST_F(PlaylistApi, KeepsPlaylistsFromOtherUsers) {
    const std::string shared =
        Ask("Playlist/create?library=shared&name=all", {}, "bob")["id"].asString();
    const std::string hers = Ask("Playlist/create?name=hers&songs=music_4")["id"].asString();
    for (const char *method : {"rename", "delete", "add", "remove", "replace", "remove_missing"}) {
        Given parameters = {{"name", "x"}, {"songs", "music_1"}, {"position", "0"}, {"id", shared}};
        EXPECT_EQ(CodeOf("Playlist/"s + method, parameters), 403)
            << method << ": without the right";
        parameters.back().second = hers;
        EXPECT_EQ(CodeOf("Playlist/"s + method, parameters, "bob"), 404) << method << ": alice's";
    }
    EXPECT_EQ(Songs(hers), Texts{"music_4"});
    EXPECT_EQ(Names(), (Texts{"hers", "all"}));

    // Without personal libraries a key is the name of a file.
    Configure("enable_personal_library", "no");
    Ask("Playlist/create?name=own");
    WriteFile("/usr/varn/etc/preference/alice/secret.m3u", "http://secret/\n");
    for (const char *key : {"../secret", "playlists/../../secret", "..", "own/../own", "", "Own"}) {
        EXPECT_NE(CodeOf("Playlist/get", {{"id", std::string("playlist_personal_normal/") + key}}),
                  0)
            << key;
    }
    EXPECT_EQ(CodeOf("Playlist/get?id=playlist_personal_normal/own", {}, "bob"), 404);
    EXPECT_EQ(Songs("playlist_personal_normal/own"), Texts());
}

}  // namespace
