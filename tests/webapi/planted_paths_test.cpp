// The table of paths that an account may plant (docs/security.md), gone through with every operation
// that has rights: what belongs to others is neither told nor changed.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "programs/command.h"
#include "webapi/api.h"

namespace tonvale_test {

namespace {

namespace fs = std::filesystem;

class PlantedPaths : public ApiTest {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs a second account";
        }
        ApiTest::SetUp();
        WriteFile(varn::path::kIndexFolders, shared().string() + "\n");
        WriteFile(varn::path::kUsersFile, R"({"1030": {"editsong": true}})");
        for (const fs::path &music : {bobs(), shared(), roots()}) {
            FillMusic(music, music == bobs() ? kBob : 0);
        }
        Query(InsertSql({.id = 4, .userid = kAlice, .path = hers() / "a.mp3"}));
    }

    static fs::path homes() { return root() / "volume1/homes"; }
    static fs::path hers() { return homes() / "alice/music"; }
    static fs::path bobs() { return homes() / "bob/music"; }
    static fs::path shared() { return scratch() / "shared"; }
    static fs::path roots() { return scratch() / "private"; }

    // A song with its picture, its attributes and a list; nobody else may read them.
    static void FillMusic(const fs::path &music, uid_t owner) {
        for (const char *name :
             {"playlists/x.m3u", "a.mp3", "cover.jpg", "@eaDir/a.mp3/APIC.jpg"}) {
            fs::create_directories((music / name).parent_path());
            std::ofstream(music / name)
                << "\xFF\xD8\xFF\xE0\nhttp://" << (owner == kAlice ? "hers" : "secret") << "/\n";
            fs::permissions(music / name, fs::perms::owner_read | fs::perms::owner_write);
        }
        for (const fs::path &path : fs::recursive_directory_iterator(music)) {
            EXPECT_EQ(chown(path.c_str(), owner, 0), 0);
        }
        EXPECT_EQ(chown(music.c_str(), owner, 0), 0);
    }

    // Everything of others: kinds, modes, owners and contents by path.
    static std::map<std::string, std::string> OfOthers() {
        std::map<std::string, std::string> all;
        for (const fs::path &music : {bobs(), shared(), roots()}) {
            for (const fs::path &path : fs::recursive_directory_iterator(music)) {
                struct stat info {};
                EXPECT_EQ(lstat(path.c_str(), &info), 0);
                all[path] = std::to_string(info.st_mode) + " " + std::to_string(info.st_uid) +
                            (S_ISREG(info.st_mode) ? ReadFile(path) : "");
            }
        }
        return all;
    }

    // Alice's music as it was, and her rows.
    static void Restore() {
        fs::remove_all(hers());
        FillMusic(hers(), kAlice);
        std::ofstream(hers() / "playlists/x.m3u") << "http://hers/\n";
        Query(
            "DELETE FROM personal_playlist;"
            "INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 7, '" +
            (hers() / "playlists/x.m3u").string() + "', 'x')");
    }

    static void Replace(const fs::path &path, const fs::path &target) {
        fs::remove_all(path);
        fs::create_symlink(target, path);
    }

    enum class Kind { kLink, kSecondName, kOfBobs };
    struct Plant {
        std::string path, target;  // below her music, and below somebody else's
        Kind kind = Kind::kLink;

        void In(const fs::path &victim) const {
            if (kind == Kind::kLink) {
                return path.empty() ? Replace(hers(), victim)
                                    : Replace(hers() / path, victim / target);
            }
            fs::remove(hers() / path);
            if (kind == Kind::kSecondName) {
                return fs::create_hard_link(victim / target, hers() / path);
            }
            fs::copy(victim / target, hers() / path);
            EXPECT_EQ(chown((hers() / path).c_str(), kBob, 0), 0);
        }
    };

    static void Operate(const std::string &planted, bool onLists, bool onSongs) {
        const std::string id = "playlist_personal_normal/7";
        const struct {
            const char *api, *method;
            Given parameters;
        } kOperations[] = {
            {"Playlist", "get", {{"id", id}}},
            {"Playlist", "add", {{"id", id}, {"songs", "http://new/"}}},
            {"Playlist", "replace", {{"id", id}, {"position", "0"}, {"songs", "http://new/"}}},
            {"Playlist", "remove", {{"id", id}, {"position", "0"}}},
            {"Playlist", "remove_missing", {{"id", id}}},
            {"Playlist", "create", {{"name", "new"}}},
            {"Playlist", "rename", {{"id", id}, {"name", "other"}}},
            {"Playlist", "delete", {{"id", id}}},
            {"Song", "rate", {{"id", "music_p_4"}, {"rating", "4"}}},
            {"Cover", "get", {{"id", "music_p_4"}}},
            {"Cover", "get", {{"id", "music_p_4"}, {"size", "scaled"}}},
            {"Stream", "stream", {{"id", "music_p_4"}}},
        };
        for (const auto &[api, method, parameters] : kOperations) {
            if (!(api == std::string("Playlist") ? onLists : onSongs)) {
                continue;
            }
            const auto before = OfOthers();
            const std::string form = QueryOf(api, method, parameters);
            const std::string told = RunCgi({{"REQUEST_METHOD", "POST"},
                                             {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                                             {"CONTENT_LENGTH", std::to_string(form.size())},
                                             {"REMOTE_USER", "alice"}},
                                            form);
            EXPECT_FALSE(Contains(told, "secret")) << planted << ": " << method << told;
            EXPECT_EQ(OfOthers(), before) << planted << ": " << method << told;
        }
    }
};

TEST_F(PlantedPaths, LeadNoOperationToWhatBelongsToOthers) {
    const std::string list = "playlists/x.m3u";
    const std::string attributes = "@eaDir/a.mp3";
    for (const Plant &plant :
         {Plant{list, list}, Plant{list, list, Kind::kSecondName}, Plant{list, list, Kind::kOfBobs},
          Plant{"playlists", "playlists"}, Plant{"", ""}, Plant{"a.mp3", "a.mp3"},
          Plant{"cover.jpg", "cover.jpg"}, Plant{"@eaDir", "@eaDir"}, Plant{attributes, attributes},
          Plant{attributes + "/APIC.jpg", "cover.jpg"},
          Plant{attributes + "/VARNAUDIO_SONG_RATING", "cover.jpg"}}) {
        for (const fs::path &victim : {bobs(), roots()}) {
            Restore();
            plant.In(victim);
            const bool isList = plant.path.starts_with("playlists");
            Operate(plant.path + " to " + victim.string(), isList || plant.path.empty(), !isList);
        }
    }
    // Everybody hears shared music, but only those with the right change its lists.
    Restore();
    Replace(hers(), shared());
    for (const char *method : {"create", "add", "rename", "delete"}) {
        const auto before = OfOthers();
        const Given parameters = {
            {"id", "playlist_personal_normal/7"}, {"name", "y"}, {"songs", "http://n/"}};
        EXPECT_NE(CodeOf("Playlist", method, parameters), 0) << method;
        EXPECT_EQ(OfOthers(), before) << method;
    }
    Restore();
    const Given own = {{"id", "playlist_personal_normal/7"}, {"songs", "http://new/"}};
    EXPECT_EQ(CodeOf("Playlist", "add", own), 0) << "her own list is hers to change";
    EXPECT_EQ(Ask("Playlist", "get", own)["total"].asInt(), 2);
}

}  // namespace

}  // namespace tonvale_test
