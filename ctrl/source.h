#pragma once

namespace Tonvale::ctrl {

// The modules' names in log lines.
inline constexpr char kCtrl[] = "ctrl";
inline constexpr char kInfo[] = "info";
inline constexpr char kPlaylist[] = "playlist";
inline constexpr char kShm[] = "shm";
inline constexpr char kSocket[] = "socket";

}  // namespace Tonvale::ctrl
