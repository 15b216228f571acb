// The words of a playlist's identifier, and where its file is.
#pragma once

namespace Tonvale::webapi::playlist_words {

inline constexpr char kPlaylist[] = "playlist";
inline constexpr char kPersonal[] = "personal";
inline constexpr char kShared[] = "shared";
inline constexpr char kNormal[] = "normal";
inline constexpr char kSmart[] = "smart";

// Below a user's preference folder.
inline constexpr char kFolder[] = "playlists";
inline constexpr char kSmartFile[] = "playlists/smart.playlist";

}  // namespace Tonvale::webapi::playlist_words
