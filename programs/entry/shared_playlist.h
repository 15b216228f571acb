// What a share link publishes.
#pragma once

#include <string>
#include <vector>

#include "tonvale/sharing.h"
#include "varn/mediaindex.h"

namespace tonvale_entry {

// A song as the public sees it: nothing tells where its file lies.
struct SharedSong {
    std::string id;
    std::string title;
    std::string artist;
    std::string album;
    int duration = 0;             // seconds
    bool playsEverywhere = true;  // browsers play the file as it is
};

struct SharedPage {
    int total = 0;  // entries of the playlist, also those that have left the library
    std::vector<SharedSong> songs;
};

// The playlist of a link that works today. There is one refusal for everything else, in words and
// in time: for links that do not exist, are over, have not begun or were taken away, and for songs
// outside the playlist.
class SharedPlaylist {
  public:
    // Throws the refusal.
    explicit SharedPlaylist(const std::string &linkId);

    std::string Name() const;
    SharedPage Songs(int offset, int limit) const;

    // The song with an identifier, and the one of the reference in an address
    // (SharingManager::GetUrl). They throw the refusal for a song that is not in the playlist.
    VARN_MEDIA_INFO Song(const std::string &id);
    SharedSong ReferredSong(const std::string &reference);

  private:
    void Check(const VARN_MEDIA_INFO &song);
    std::vector<SharedSong> Shown(PLAYLIST_REC *list) const;

    Tonvale::SharingManager manager_;
    Tonvale::SharingData link_;
};

// Throws the refusal.
[[noreturn]] void RefuseLink();

}  // namespace tonvale_entry
