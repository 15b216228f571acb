// How songs are named in a playlist file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "misc/usb_volume.h"

namespace Tonvale::playlist {

// Paths as seen from the folder of one playlist, which is the folder that they are read from again:
// a playlist that a link leads to is at the link's end.
class EntryPaths {
  public:
    explicit EntryPaths(std::string playlistPath);
    EntryPaths(const EntryPaths &) = delete;
    EntryPaths &operator=(const EntryPaths &) = delete;

    // The path of a song's file in the playlist: relative, but for remote songs and those on
    // removable volumes. Empty, with a log line, for a song that has none.
    std::optional<std::string> Of(const std::string &songPath);

  private:
    std::optional<std::string> Relative(const std::string &songPath) const;

    std::string playlistPath_;
    std::string folder_;
    std::vector<std::string_view> folders_;  // its components
    misc::UsbVolumes usb_;
};

}  // namespace Tonvale::playlist
