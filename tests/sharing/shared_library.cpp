#include "sharing/shared_library.h"

#include "varn/systempath.h"

namespace tonvale_test {

Tonvale::SharingData LinkOf(unsigned user, const std::string &playlist, const std::string &path) {
    Tonvale::SharingData link;
    link.user_id = user;
    link.user_name = user == 1030 ? "alice" : "bob";
    link.playlist_id = playlist;
    link.path = path;
    return link;
}

void SharedLibraryTest::SetUp() {
    PlaylistTest::SetUp();
    WriteFile(varn::path::kUsersFile,
              R"({"1030": {"sharing": true, "streaming": true}, "1031": {"sharing": false}})");
    WriteFile(varn::path::kShares, "music=\"" + music().string() + "\"\n");
    // The package's account reads it.
    fs::permissions(At(varn::path::kUsersFile), fs::perms(0666));
    rock_ = AddSong({.path = In("it's 100%_a\\b.mp3"), .title = "Rock", .genres = {"Rock"}});
    pop_ = AddSong({.path = In("pop.mp3"), .title = "<b>Pop</b>", .genres = {"Pop"}});
    AddSong({.path = In("cue.flac"), .title = "whole", .genres = {"Rock"}, .has_virtual = true});
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

Tonvale::SharingData SharedLibraryTest::Link(const std::string &playlist, const std::string &path) {
    return LinkOf(kAlice, playlist, path);
}

int SharedLibraryTest::AddTrack(int number, const char *genre) {
    return AddSong({.path = In("cue.flac"),
                    .title = "track " + std::to_string(number),
                    .genres = {genre},
                    .track = number,
                    .is_virtual = true});
}

}  // namespace tonvale_test
