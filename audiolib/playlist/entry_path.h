// How songs are named in a playlist file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "misc/usb_volume.h"

namespace Tonvale::playlist {

// Paths as seen from the folder of one playlist.
class EntryPaths {
  public:
    explicit EntryPaths(std::string playlistPath);

    // The path of a song's file in the playlist: relative, but for remote songs and those on
    // removable volumes. Empty, with a log line, for a song that has none.
    std::optional<std::string> Of(const std::string &songPath);

  private:
    std::optional<std::string> Relative(const std::string &songPath) const;

    std::string playlistPath_;
    std::vector<std::string_view> components_;  // of it
    misc::UsbVolumes usb_;
};

}  // namespace Tonvale::playlist
