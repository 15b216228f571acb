// The table of paths that an account may plant (docs/security.md), gone through with every
// operation that has rights: what belongs to others is neither told nor changed.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "programs/command.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class PlantedPaths : public ApiTest {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs a second account";
        }
        ApiTest::SetUp();
        WriteFile(varn::path::kIndexFolders, shared().string() + "\n" + open().string() + "\n");
        WriteFile(varn::path::kUsersFile, R"({"1030": {"playlist": true}})");
        for (const fs::path &music : {bobs(), shared(), roots()}) {
            FillMusic(music, music == bobs() ? kBob : 0);
        }
    }

    static fs::path homes() { return root() / "volume1/homes"; }
    static fs::path hers() { return homes() / "alice/music"; }
    static fs::path bobs() { return homes() / "bob/music"; }
    static fs::path shared() { return scratch() / "shared"; }
    // Everybody may write there, and links of root's lead out of it into her own folder.
    static fs::path open() { return scratch() / "open"; }
    static fs::path herPlace() { return scratch() / "hers"; }
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

    // Alice's music and the open folder as they were, and the rows of a song and two lists.
    static void Restore(const fs::path &list = "playlists/x.m3u", const fs::path &song = "a.mp3") {
        for (const fs::path &folder : {hers(), open(), herPlace()}) {
            fs::remove_all(folder);
            fs::create_directories(folder);
        }
        FillMusic(hers(), kAlice);
        std::ofstream(hers() / "playlists/x.m3u") << "http://hers/\n";
        fs::permissions(open(), fs::perms(0777));
        EXPECT_EQ(chown(herPlace().c_str(), kAlice, 0), 0);
        Query(
            "DELETE FROM personal_playlist; DELETE FROM playlist; DELETE FROM track;"
            "INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 7, '" +
            (hers() / list).string() +
            "', 'x'); INSERT INTO playlist (id, path, title) VALUES (8, '" +
            (open() / list).string() + "', 'x');" +
            InsertSql({.id = 4, .userid = kAlice, .path = hers() / song}));
    }

    static void Replace(const fs::path &path, const fs::path &target) {
        fs::remove_all(path);
        fs::create_symlink(target, path);
    }

    // Moves somebody's private file there, which whoever may write to its folder can do.
    static void MoveTo(const fs::path &path, const fs::path &file) {
        fs::remove(path);
        fs::copy(file, path);
        struct stat info {};
        EXPECT_EQ(lstat(file.c_str(), &info), 0);
        EXPECT_EQ(chown(path.c_str(), info.st_uid, 0), 0);
    }

    enum class Kind { kLink, kSecondName, kMoved };
    struct Plant {
        std::string path, target;  // below her music, and below somebody else's
        Kind kind = Kind::kLink;
        std::string list = "playlists/x.m3u", song = "a.mp3";

        void In(const fs::path &victim) const {
            Restore(list, song);
            if (kind == Kind::kLink) {
                return path.empty() ? Replace(hers(), victim)
                                    : Replace(hers() / path, victim / target);
            }
            fs::remove(hers() / path);
            if (kind == Kind::kSecondName) {
                return fs::create_hard_link(victim / target, hers() / path);
            }
            MoveTo(hers() / path, victim / target);
        }
    };

    static void Operate(const std::string &planted, bool onLists, bool onSongs,
                        const std::string &id = "playlist_personal_normal/7") {
        Texts queries;
        for (const std::string &method :
             Words(onLists ? "get add replace remove remove_missing create rename delete" : "")) {
            queries.push_back(QueryOf(
                "Playlist", method,
                Taken("Playlist", method,
                      {{"id", id}, {"songs", "http://new/"}, {"position", "0"}, {"name", "new"}})));
        }
        for (const std::string &rest :
             Words(onSongs ? "Song&method=rate&rating=4 Cover&method=get Download&method=song "
                             "Download&method=zip&songs=music_p_4 "
                             "Cover&method=get&size=scaled Stream&method=stream Song&method=lyrics"
                           : "")) {
            queries.push_back("version=1&id=music_p_4&api=VARN.Tonvale." + rest);
        }
        for (const std::string &query : queries) {
            SCOPED_TRACE(planted + ": " + query);
            const auto before = OfOthers();
            const std::string told = GetCgi(query);
            EXPECT_FALSE(Contains(told, "secret")) << told;
            EXPECT_EQ(OfOthers(), before) << told;
            for (const fs::path &moved : {hers() / "playlists/x.m3u", open() / "x.m3u"}) {
                struct stat info {};
                EXPECT_FALSE(lstat(moved.c_str(), &info) == 0 && info.st_uid != kAlice &&
                             S_ISREG(info.st_mode) && info.st_nlink == 1 &&
                             (info.st_mode & 0077) != 0);
            }
        }
    }
};

TEST_F(PlantedPaths, LeadNoOperationToWhatBelongsToOthers) {
    const std::string list = "playlists/x.m3u";
    const std::string attributes = "@eaDir/a.mp3";
    for (const Plant &plant :
         {Plant{list, list}, Plant{list, list, Kind::kSecondName}, Plant{list, list, Kind::kMoved},
          Plant{"more", "playlists", Kind::kLink, "more/x.m3u"},
          Plant{"more", "", Kind::kLink, list, "more/a.mp3"}, Plant{"playlists", "playlists"},
          Plant{"", ""}, Plant{"a.mp3", "a.mp3"}, Plant{"cover.jpg", "cover.jpg"},
          Plant{"a.txt", "a.mp3"}, Plant{"a.txt", "a.mp3", Kind::kSecondName},
          Plant{"a.lrc", "a.mp3", Kind::kMoved}, Plant{"@eaDir", "@eaDir"},
          Plant{attributes, attributes}, Plant{attributes + "/APIC.jpg", "cover.jpg"},
          Plant{attributes + "/VARNAUDIO_SONG_RATING", "cover.jpg"}}) {
        for (const fs::path &victim : {bobs(), roots()}) {
            plant.In(victim);
            const bool isList = plant.path.starts_with("playlists") || plant.list != list;
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
}

TEST_F(PlantedPaths, LeadNoSharedListToWhatBelongsToOthers) {
    const std::string id = "playlist_shared_normal/8";
    for (const fs::path &victim : {bobs(), roots()}) {
        const fs::path lists = victim / "playlists";
        Restore("x.m3u");
        MoveTo(open() / "x.m3u", lists / "x.m3u");
        Operate("moved from " + victim.string(), true, false, id);

        Restore("more/x.m3u");
        fs::create_symlink(lists, open() / "more");
        EXPECT_EQ(lchown((open() / "more").c_str(), kAlice, 0), 0);
        Operate("her link to " + victim.string(), true, false, id);

        fs::remove(open() / "more");
        fs::create_symlink("../hers/more", open() / "more");
        fs::create_symlink(lists, herPlace() / "more");
        EXPECT_EQ(lchown((herPlace() / "more").c_str(), kAlice, 0), 0);
        Operate("her link behind root's to " + victim.string(), true, false, id);
    }
}

TEST_F(PlantedPaths, AreNotTakenForWhatIsHersOrEverybodys) {
    Restore("more/x.m3u");
    const Given own = {{"id", "playlist_personal_normal/7"}, {"songs", "http://new/"}};
    const Given common = {{"id", "playlist_shared_normal/8"}, {"songs", "http://new/"}};
    fs::create_symlink("playlists", hers() / "more");
    EXPECT_EQ(CodeOf("Playlist", "add", own), 0) << "her own list is hers to change";
    EXPECT_EQ(Ask("Playlist", "get", {own[0]})["total"].asInt(), 2);

    // A list of somebody else's, by root's link and one of hers behind it.
    fs::create_directory(herPlace() / "lists");
    const fs::path list = herPlace() / "lists/x.m3u";
    std::ofstream(list) << "http://bobs/\n";
    fs::create_symlink(herPlace() / "more", open() / "more");
    fs::create_symlink("./lists", herPlace() / "more");
    for (const fs::path &path : {herPlace() / "lists", herPlace() / "more"}) {
        EXPECT_EQ(lchown(path.c_str(), kAlice, 0), 0);
    }
    EXPECT_EQ(chown(list.c_str(), kBob, 0), 0);
    fs::permissions(list, fs::perms(0644));
    EXPECT_EQ(Ask("Playlist", "get", {common[0]})["total"].asInt(), 1);
    EXPECT_EQ(CodeOf("Playlist", "add", common), 403) << "bob's alone to change";
    EXPECT_EQ(chown(list.c_str(), kBob, 100), 0);
    fs::permissions(list, fs::perms(0640));
    EXPECT_EQ(Ask("Playlist", "get", {common[0]})["total"].asInt(), 1)
        << "of a group that she is in";
    EXPECT_EQ(CodeOf("Playlist", "add", common), 403);
    fs::permissions(list, fs::perms(0600));
    EXPECT_EQ(CodeOf("Playlist", "get", common), 403);
    fs::permissions(list, fs::perms(0666));
    EXPECT_EQ(CodeOf("Playlist", "add", common), 0);
    EXPECT_EQ(Ask("Playlist", "get", {common[0]})["total"].asInt(), 2);

    const std::string song = "music_p_4";
    EXPECT_EQ(CodeOf("Song", "rate", {{"id", song}, {"rating", "4"}}), 0);
    EXPECT_TRUE(fs::exists(hers() / "@eaDir/a.mp3/VARNAUDIO_SONG_RATING"));
    const auto get = [&](const char *api, const char *method) {
        return GetCgi(QueryOf(api, method, {{"id", song}}));
    };
    EXPECT_TRUE(Contains(get("Cover", "get"), "http://hers/"));
    EXPECT_TRUE(Contains(get("Stream", "stream"), "http://hers/"));
    MoveTo(hers() / "a.mp3", bobs() / "a.mp3");
    EXPECT_TRUE(Contains(get("Stream", "stream"), "Status: 404")) << "bob's, moved there";
}

}  // namespace
