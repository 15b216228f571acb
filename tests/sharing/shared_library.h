// A small library with a playlist of each kind, of alice, who may share, and bob, who may not.
#pragma once

#include <string>

#include "playlist/playlist_test.h"
#include "tonvale/sharing.h"
#include "varn/packageconf.h"

namespace tonvale_test {

// A link of alice's (1030) or bob's, as its owner asks for it.
Tonvale::SharingData LinkOf(unsigned user, const std::string &playlist, const std::string &path);

class SharedLibraryTest : public PlaylistTest {
  protected:
    static constexpr char kSharedSmart[] = "playlist_shared_smart/Rock & Roll";
    static constexpr char kSongs[] = "playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__";

    void SetUp() override;

    static std::string List() { return In("list.m3u"); }
    static std::string Name(int id) { return "music_" + std::to_string(id); }
    static std::string TrackName(int id) { return "music_v_" + std::to_string(id); }

    static Tonvale::SharingData Link(const std::string &playlist, const std::string &path);

    int rock_ = 0;
    int pop_ = 0;
    int track1_ = 0;
    int track2_ = 0;
    int bobs_ = 0;

  private:
    int AddTrack(int number, const char *genre);
};

}  // namespace tonvale_test
