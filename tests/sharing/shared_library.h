// A small library with a playlist of each kind, of alice, who may share, and bob, who may not.
#pragma once

#include <string>

#include "playlist/playlist_test.h"
#include "tonvale/sharing.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace tonvale_test {

// A link of alice's (1030) or bob's, as its owner asks for it.
inline Tonvale::SharingData LinkOf(unsigned user, const std::string &playlist,
                                   const std::string &path) {
    Tonvale::SharingData link;
    link.user_id = user;
    link.user_name = user == 1030 ? "alice" : "bob";
    link.playlist_id = playlist;
    link.path = path;
    return link;
}

class SharedLibraryTest : public PlaylistTest {
  protected:
    static constexpr char kSharedSmart[] = "playlist_shared_smart/Rock & Roll";
    static constexpr char kSongs[] = "playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__";

    void SetUp() override {
        PlaylistTest::SetUp();
        WriteFile(varn::path::kUsersFile,
                  R"({"1030": {"sharing": true, "streaming": true}, "1031": {"sharing": false}})");
        WriteFile(varn::path::kShares, "music=\"" + music().string() + "\"\n");
        // The package's account reads it.
        fs::permissions(At(varn::path::kUsersFile), fs::perms(0666));
        rock_ = AddSong({.path = In("it's 100%_a\\b.mp3"), .title = "Rock", .genres = {"Rock"}});
        pop_ = AddSong({.path = In("pop.mp3"), .title = "<b>Pop</b>", .genres = {"Pop"}});
        AddSong(
            {.path = In("cue.flac"), .title = "whole", .genres = {"Rock"}, .has_virtual = true});
        track1_ = AddTrack(1, "Rock");
        track2_ = AddTrack(2, "Pop");
        bobs_ = AddSong({.userid = kBob, .path = In("bobs.mp3"), .title = "Bob's"});
        Touch(List(),
              "#EXTM3U\nit's 100%_a\\b.mp3\ncue.flac_2\nbobs.mp3\nunknown.mp3\n"
              "http://radio.example/secret\n");
        Query("INSERT INTO playlist (id, path, title) VALUES (12, '" + List() + "', 'A \"list\"')");
        WriteFile(varn::path::kSmartPlaylists, "\"Rock & Roll\" { genre is \"Rock\" }\n");
        ClearLog();
    }

    static std::string List() { return In("list.m3u"); }
    static std::string Name(int id) { return "music_" + std::to_string(id); }
    static std::string TrackName(int id) { return "music_v_" + std::to_string(id); }

    static Tonvale::SharingData Link(const std::string &playlist, const std::string &path) {
        return LinkOf(kAlice, playlist, path);
    }

    int rock_ = 0;
    int pop_ = 0;
    int track1_ = 0;
    int track2_ = 0;
    int bobs_ = 0;

  private:
    int AddTrack(int number, const char *genre) {
        return AddSong({.path = In("cue.flac"),
                        .title = "track " + std::to_string(number),
                        .genres = {genre},
                        .track = number,
                        .is_virtual = true});
    }
};

}  // namespace tonvale_test
