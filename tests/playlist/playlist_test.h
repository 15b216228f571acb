// Playlists over a small library on the disk and in the database.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/fixture.h"
#include "tonvale/playlists.h"
#include "varn/handles.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_test {

using Texts = std::vector<std::string>;

using Songs = varn::OwnedSongs;

// A folder of music that is indexed, and a way to fill library and playlists.
class PlaylistTest : public DatabaseTest {
  protected:
    void SetUp() override;

    static fs::path music() { return scratch() / "music"; }
    static std::string In(const std::string &name) { return (music() / name).string(); }

    // A song of the library, and its file where it can be one. Returns its id.
    int AddSong(TrackRow row);

    // A row of the catalogue. Returns its id in decimal.
    static std::string AddRow(const std::string &path, const std::string &title,
                              const std::string &album, unsigned owner = 0);

    // A playlist of the music folder and its row, whose title is the name before the dot. Returns the
    // row's id.
    static std::string AddList(const std::string &name, std::string_view text = "");

    static Songs Read(const std::string &path, int *count = nullptr, int offset = 0, int limit = 0);

    // "ID PATH", with "_TRACK" after the path of a virtual song.
    static Texts Shown(const PLAYLIST_REC *list);
    static Texts Shown(const Songs &songs) { return Shown(songs.get()); }

    static Songs MakeSongs(const std::vector<VARN_MEDIA_INFO> &records);
    static VARN_MEDIA_INFO Record(unsigned id, const std::string &path, int virtualTrack = 0);
    static int Write(const PLAYLIST_REC *list, const std::string &path);

  private:
    int lastId_ = 0;
};

}  // namespace tonvale_test
