// Paths that an account may plant (the table in docs/security.md). No operation that has rights
// reads or changes what belongs to others through them.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

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
    // A folder that all may write. Root's links lead from there into a folder of hers.
    static fs::path open() { return scratch() / "open"; }
    static fs::path herPlace() { return scratch() / "hers"; }
    static fs::path roots() { return scratch() / "private"; }

    // A song with its picture, its attributes and a list. Only the owner may read them.
    static void FillMusic(const fs::path &music, uid_t owner) {
        const std::string text = owner == kAlice ? "http://hers/\n" : "http://secret/\n";
        for (const char *name :
             {"playlists/x.m3u", "a.mp3", "cover.jpg", "@eaDir/a.mp3/APIC.jpg"}) {
            Touch(music / name, "\xFF\xD8\xFF\xE0\n" + text);
            fs::permissions(music / name, fs::perms::owner_read | fs::perms::owner_write);
        }
        for (const fs::path &path : fs::recursive_directory_iterator(music)) {
            EXPECT_EQ(chown(path.c_str(), owner, 0), 0);
        }
        EXPECT_EQ(chown(music.c_str(), owner, 0), 0);
    }

    // The modes, owners and contents of all that belongs to others, by path.
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

    // Makes alice's music and the open folder anew, and the rows of a song and of two lists.
    static void Restore(const fs::path &list = "playlists/x.m3u", const fs::path &song = "a.mp3") {
        for (const fs::path &folder : {hers(), open(), herPlace()}) {
            fs::remove_all(folder);
            fs::create_directories(folder);
        }
        FillMusic(hers(), kAlice);
        Touch(hers() / "playlists/x.m3u", "http://hers/\n");
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

    // Puts another user's private file there. A user who may write to its folder can move it.
    static void MoveTo(const fs::path &path, const fs::path &file) {
        fs::remove(path);
        fs::copy(file, path);
        struct stat info {};
        EXPECT_EQ(lstat(file.c_str(), &info), 0);
        EXPECT_EQ(chown(path.c_str(), info.st_uid, 0), 0);
    }

    enum class Kind { kLink, kSecondName, kMoved };
    struct Plant {
        std::string path, target;  // below her music, and below the victim's
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
            const std::string asked = "Playlist/" + method;
            const Given given = {
                {"id", id}, {"songs", "http://new/"}, {"position", "0"}, {"name", "new"}};
            queries.push_back(QueryOf(asked, Taken(asked, given)));
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

TEST_F(PlantedPaths, GiveNoAccessToOthersFiles) {
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
    // Every user hears shared music, and only users with the right change its lists.
    Restore();
    Replace(hers(), shared());
    for (const char *method : {"create", "add", "rename", "delete"}) {
        const auto before = OfOthers();
        const Given parameters = {
            {"id", "playlist_personal_normal/7"}, {"name", "y"}, {"songs", "http://n/"}};
        EXPECT_NE(CodeOf("Playlist/" + std::string(method), parameters), 0) << method;
        EXPECT_EQ(OfOthers(), before) << method;
    }
}

TEST_F(PlantedPaths, GiveNoAccessThroughSharedLists) {
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
        Operate("root's link to her link to " + victim.string(), true, false, id);
    }
}

TEST_F(PlantedPaths, AllowWhatIsHersOrShared) {
    Restore("more/x.m3u");
    const Given own = {{"id", "playlist_personal_normal/7"}, {"songs", "http://new/"}};
    const Given common = {{"id", "playlist_shared_normal/8"}, {"songs", "http://new/"}};
    fs::create_symlink("playlists", hers() / "more");
    EXPECT_EQ(CodeOf("Playlist/add", own), 0) << "her own list is hers to change";
    EXPECT_EQ(Ask("Playlist/get", {own[0]})["total"].asInt(), 2);

    // A list of bob's, through root's link and one of hers.
    const fs::path list = herPlace() / "lists/x.m3u";
    Touch(list, "http://bobs/\n");
    fs::create_symlink(herPlace() / "more", open() / "more");
    fs::create_symlink("./lists", herPlace() / "more");
    for (const fs::path &path : {herPlace() / "lists", herPlace() / "more"}) {
        EXPECT_EQ(lchown(path.c_str(), kAlice, 0), 0);
    }
    EXPECT_EQ(chown(list.c_str(), kBob, 0), 0);
    fs::permissions(list, fs::perms(0644));
    EXPECT_EQ(Ask("Playlist/get", {common[0]})["total"].asInt(), 1);
    EXPECT_EQ(CodeOf("Playlist/add", common), 403) << "bob may change it alone";
    EXPECT_EQ(chown(list.c_str(), kBob, 100), 0);
    fs::permissions(list, fs::perms(0640));
    EXPECT_EQ(Ask("Playlist/get", {common[0]})["total"].asInt(), 1) << "her group may read it";
    EXPECT_EQ(CodeOf("Playlist/add", common), 403);
    fs::permissions(list, fs::perms(0600));
    EXPECT_EQ(CodeOf("Playlist/get", common), 403);
    fs::permissions(list, fs::perms(0666));
    EXPECT_EQ(CodeOf("Playlist/add", common), 0);
    EXPECT_EQ(Ask("Playlist/get", {common[0]})["total"].asInt(), 2);

    const std::string song = "music_p_4";
    EXPECT_EQ(CodeOf("Song/rate", {{"id", song}, {"rating", "4"}}), 0);
    EXPECT_TRUE(fs::exists(hers() / "@eaDir/a.mp3/VARNAUDIO_SONG_RATING"));
    const auto get = [&](const char *asked) { return GetCgi(QueryOf(asked, {{"id", song}})); };
    EXPECT_TRUE(Contains(get("Cover/get"), "http://hers/"));
    EXPECT_TRUE(Contains(get("Stream/stream"), "http://hers/"));
    MoveTo(hers() / "a.mp3", bobs() / "a.mp3");
    EXPECT_TRUE(Contains(get("Stream/stream"), "Status: 404")) << "bob's, moved there";
}

}  // namespace
