#pragma once

#include <json/writer.h>

#include <string>

#include "sharing/shared_library.h"
#include "support/clock.h"

namespace tonvale_test {

// alice may share, bob may not.
class SharingTest : public DatabaseTest {
  protected:
    static constexpr char kList[] = "playlist_shared_normal/12";
    static constexpr char kFile[] = "/volume1/music/playlists/It's 100%_a\\b.m3u";

    void SetUp() override {
        DatabaseTest::SetUp();
        WriteFile(varn::path::kUsersFile,
                  R"({"1030": {"sharing": true}, "1031": {"sharing": false}})");
    }

    static Tonvale::SharingData Link(unsigned user, const std::string &playlist = kList,
                                     const std::string &path = kFile) {
        return LinkOf(user, playlist, path);
    }
};

}  // namespace tonvale_test
