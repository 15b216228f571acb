// The verbs of the command line that work on playlists.
#include <fcntl.h>
#include <json/json.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "platform/child.h"
#include "playlist/playlist_test.h"
#include "programs/command.h"
#include "support/eventually.h"
#include "tonvale/sharing.h"
#include "varn/descriptor.h"
#include "varn/packageconf.h"

namespace {

using namespace tonvale_test;

class PlaylistCommand : public PlaylistTest {
  protected:
    static Finished Run(const Texts &arguments) { return Command(arguments).Wait(); }
    static void RunAll(std::vector<Saying> runs, const Texts &more = {}) {
        for (Saying &run : runs) {
            run.arguments.insert(run.arguments.end(), more.begin(), more.end());
        }
        ExpectSayings(runs);
    }
    // The paths of a playlist's entries below the folder of music.
    static Texts Paths(const std::string &playlist, const Texts &more = {}) {
        Texts arguments = {"playlist", "show", playlist, "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        Texts paths;
        const Json::Value shown = JsonOf(arguments);
        for (const Json::Value &entry : shown["songs"]) {
            const std::string path = entry["path"].asString();
            paths.push_back(path.substr(path.rfind('/') + 1));
        }
        return paths;
    }
};

TEST_F(PlaylistCommand, SharedAndPersonalPlaylistsHaveTheSameVerbs) {
    AddSong({.path = In("a.mp3"), .title = "A"});
    AddSong({.path = In("cue.flac"), .has_virtual = true});
    AddSong({.path = In("cue.flac"), .title = "Three", .track = 3, .is_virtual = true});
    const std::string list = "O'Brien & 100%";
    const auto goThrough = [&](const Texts &more) {
        RunAll({{{"playlist", "create", list, "1", In("cue.flac_3")}, 0, ""},
                {{"playlist", "create", list}, 2, "already a playlist"},
                {{"playlist", "check", list, "3", "1"}, 0, "yes " + In("cue.flac_3")},
                {{"playlist", "add", list, "1", "http://r/x", "--skip-duplicates"}, 0, ""},
                {{"playlist", "add", list, In("cue.flac")}, 0, ""},
                {{"playlist", "show", list}, 0, "1-4 of 4 entries"}},
               more);
        EXPECT_EQ(Paths(list, more), (Texts{"a.mp3", "cue.flac", "x", "cue.flac"}));
        RunAll({{{"playlist", "remove", list, "0,1"}, 0, ""},
                {{"playlist", "remove", list, "0x1"}, 2, "'0x1' is not a whole number from 0"},
                {{"playlist", "remove", list, "0,010"}, 2, "no position 10"},
                {{"playlist", "replace", list, "3", "--start", "1", "--length", "1"}, 0, ""},
                {{"playlist", "missing", list}, 0, ""},
                {{"playlist", "rename", list, "New"}, 0, ""},
                {{"playlists"}, 0, "1-1 of 1 playlist"},
                {{"playlist", "add", "New", "no such file"}, 2, "is no song's id"}},
               more);
        EXPECT_EQ(Paths("New", more), (Texts{"x", "cue.flac"}));
        RunAll({{{"playlist", "delete", "New"}, 0, ""}, {{"playlists"}, 0, "0 of 0 playlists"}},
               more);
    };
    goThrough({});
    goThrough({"--user", "alice", "--personal"});
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    RunAll({{{"playlist", "create", "x", "--format", "pls"}, 2, "own playlists are m3u"}},
           {"--user", "alice", "--personal"});
}

TEST_F(PlaylistCommand, SongsThatTheUserDoesNotBrowseAreNotMissing) {
    AddSong({.path = In("shared.mp3")});
    AddSong({.userid = kAlice, .path = In("hers.mp3")});
    AddSong({.userid = kBob, .path = In("bobs.mp3")});
    AddSong({.path = In("it's.flac"), .has_virtual = true});
    AddSong({.path = In("it's.flac"), .track = 3, .is_virtual = true});
    Touch(In("not indexed.mp3"));
    const std::string kept =
        "shared.mp3\r\nit's.flac\r\nhers.mp3\r\nbobs.mp3\r\nit's.flac_3\r\nhttp://r/\r\n"
        "/volumeUSB1/usbshare/x\r\n";
    AddRow(In("l.m3u"), "l", "m");
    for (const char *settings :
         {R"("audio_show_virtual_library": true)", R"("audio_show_virtual_library": false)",
          R"("browse_personal_library": "personal")"}) {
        SCOPED_TRACE(settings);
        WriteFile(varn::path::kUsersFile, "{\"1030\": {" + std::string(settings) + "}}");
        Touch(In("l.m3u"), kept + "it's.flac_4\ngone.mp3\nnot indexed.mp3\nrtsp://r/x\n");
        fs::permissions(In("l.m3u"), fs::perms(0666));
        const Finished finished = Run({"playlist", "missing", "l", "--user", "alice"});
        EXPECT_EQ(finished.status, 0) << finished.err;
        EXPECT_EQ(ReadFile(In("l.m3u")), "#EXTM3U\r\n" + kept);
    }
}

TEST_F(PlaylistCommand, WhatCannotBeWrittenIsRefused) {
    const std::string file = In("caf\xE9.mp3");
    Touch(file);
    AddList("y.m3u", "rtsp://r/x\nhttp://a/\n");
    fs::permissions(In("y.m3u"), fs::perms(0644));
    RunAll({{{"playlist", "add", "y", file}, 2, "is not UTF-8"},
            {{"playlist", "create", "caf\xE9"}, 2, "name is UTF-8"},
            {{"playlist", "rename", "y", "caf\xE9"}, 2, "name is UTF-8"},
            {{"playlist", "add", "y", "http://b/", "--user", "alice"}, 2, "to another account"},
            {{"playlist", "add", "y", "http://b/"}, 2, "the entry rtsp://r/x"},
            {{"playlist", "remove", "y", "1"}, 2, "the entry rtsp://r/x"},
            {{"playlist", "show", "y"}, 0, "2 of 2 entries"},
            {{"playlist", "remove", "y", "0"}, 0, ""},
            {{"playlist", "add", "y", "http://b/"}, 0, ""}});
}

// Takes all room that becomes free on the disk.
void FillForever(const std::string &path) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const varn::UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    for (const std::string page(4096, 'x');; sched_yield()) {
        while (write(file.Get(), page.data(), page.size()) > 0) {
        }
    }
}

TEST_F(PlaylistCommand, AFullOrReadOnlyDiskLosesNothing) {
    const std::string url = "http://radio.example/" + std::string(200, 'x');
    const fs::path shared = Tonvale::SharingManager().GetPredefinedSharingPlsPath("alice");
    WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": true}})");
    AddSong({.path = In(std::string(200, 'a') + ".mp3")});
    AddSong({.path = In("b.mp3")});
    AddRow(In("x.m3u"), "x", "m");
    RunAll({{{"share", "song", "2", "--user", "alice"}, 0, "http"}});
    const auto onSmallDisk = [&] {
        const auto mountMusic = [](unsigned long flags) {
            return mount("none", music().c_str(), "tmpfs", flags, "size=64k") == 0;
        };
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 || !mountMusic(0)) {
            return;
        }
        // The list of shared songs stands there under another path.
        ASSERT_EQ(mount(music().c_str(), shared.parent_path().c_str(), nullptr, MS_BIND, nullptr),
                  0);
        // Just below a page: with one entry more it needs two.
        std::string list = In("b.mp3") + "\r\n";
        while (list.size() + 100 < 4096) {
            list += "http://r/" + std::to_string(list.size()) + "\r\n";
        }
        const auto allFail = [&] {
            RunAll({{{"playlist", "add", "x", url}, 1, "cannot be"},
                    {{"share", "song", "1", "--user", "alice"}, 1, "cannot be"}});
            EXPECT_EQ(ReadFile(In("x.m3u")), list);
            EXPECT_EQ(ReadFile(shared), list);
        };
        Touch(In("b.mp3"));
        Touch(In("x.m3u"), list);
        Touch(shared, list);
        Touch(In("filler"), std::string(13 * 4096, 'x'));
        allFail();  // with room for a copy
        const pid_t filling = StartInChild([] { FillForever(In("filler")); });
        EXPECT_TRUE(Eventually([] { return fs::space(music()).available == 0; }));
        allFail();
        RunAll({{{"share", "unsong", "2", "--user", "alice"}, 1, "cannot be written"}});
        EXPECT_EQ(ReadFile(shared), list);
        kill(filling, SIGKILL);
        waitpid(filling, nullptr, 0);
        Touch(In("filler"));
        Touch(In(".x.m3u.kept"), "of a process that was killed");
        RunAll({{{"share", "unsong", "2", "--user", "alice"}, 0, ""},
                {{"playlist", "remove", "x", "0"}, 0, ""}});
        EXPECT_EQ(ReadFile(shared).find("b.mp3"), std::string::npos);
        EXPECT_FALSE(fs::exists(In(".x.m3u.kept")));
        EXPECT_TRUE(mountMusic(MS_REMOUNT | MS_RDONLY));
        RunAll({{{"playlist", "create", "new"}, 1, "Read-only file system"},
                {{"playlist", "rename", "x", "y"}, 1, "Read-only file system"},
                {{"playlist", "delete", "x"}, 1, "Read-only file system"},
                {{"playlist", "show", "x"}, 0, "http://r/"}});
    };
    EXPECT_TRUE(HoldsInChild(onSmallDisk));
}

TEST_F(PlaylistCommand, AFileStaysWhenTheLibraryRefusesTheChangeOfItsRow) {
    const std::string home = (root() / "volume1/homes/alice/music/b.m3u").string();
    AddList("a.m3u");
    Touch(home);
    AddRow(home, "b", "m", kAlice);
    fs::create_directories(In("folder.m3u"));
    AddRow(In("folder.m3u"), "folder", "m");
    RunAll({{{"playlist", "delete", "folder"}, 1, "Is a directory"}, {{"playlists"}, 0, "folder"}});
    EXPECT_TRUE(fs::is_directory(In("folder.m3u")));
    Query(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'no'; END $$; "
        "CREATE TRIGGER t BEFORE UPDATE OR DELETE ON playlist EXECUTE FUNCTION refuse(); "
        "CREATE TRIGGER t BEFORE UPDATE OR DELETE ON personal_playlist EXECUTE FUNCTION refuse()");
    RunAll({{{"playlist", "rename", "a", "new"}, 1, "into the library"},
            {{"playlist", "delete", "a"}, 1, "a.m3u cannot be deleted"},
            {{"playlist", "show", "a"}, 0, "0 of 0 entries"},
            {{"playlist", "rename", "b", "new", "--user", "alice", "--personal"}, 1, "library"},
            {{"playlist", "show", "b", "--user", "alice", "--personal"}, 0, "0 of 0 entries"}});
    Query("CREATE TRIGGER i BEFORE INSERT ON playlist EXECUTE FUNCTION refuse()");
    RunAll({{{"playlist", "create", "c"}, 1, "into the library"}});
    Query("DROP TRIGGER i ON playlist");
    RunAll({{{"playlist", "create", "c"}, 0, ""}});
}

TEST_F(PlaylistCommand, ALongListIsShownInGrowingParts) {
    std::string text = "rtsp://r/x\n";
    Texts names;
    for (int i = 1; i < 9001; ++i) {
        names.push_back(std::to_string(i) + ".mp3");
        text += names.back() + "\n";
    }
    AddList("x.m3u", text);
    RunAll({{{"playlist", "show", "x", "--limit", "1", "--json"}, 0, "\"rtsp://r/x\""}});
    EXPECT_TRUE(Paths("x", {"--offset", "1"}) == names);
}

TEST_F(PlaylistCommand, OfTwoPlaylistsOfOneTitleEachIsFoundByItsId) {
    Touch(In("a/x.m3u"));
    Touch(In("b/x.pls"));
    const std::string first = AddRow(In("a/x.m3u"), "x", "a");
    const std::string second = AddRow(In("b/x.pls"), "x", "b");
    RunAll({{{"playlist", "show", "x"}, 2, "by its id"},
            {{"playlist", "show", second}, 0, "0 of 0 entries"},
            {{"playlists", "--limit", "1", "--offset", "1"}, 0, "2-2 of 2 playlists"},
            {{"playlist", "delete", first}, 0, ""},
            {{"playlist", "show", "x"}, 0, "0 of 0 entries"}});
    EXPECT_FALSE(fs::exists(In("a/x.m3u")));
}

}  // namespace
