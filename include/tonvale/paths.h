// Share-relative paths and volume paths.
//
// The web API names files by share-relative paths, "/" + share name + the rest, or "/home/" + the
// rest for the user's own home folder; the database, playlists and the encoder use volume paths,
// e.g. /volume1/music/a.mp3. Failures are logged with syslog(3); nothing throws.
#pragma once

#include <string>

#include "tonvale/export.h"

namespace AudioFile {

// Turns a share-relative path into a volume path. The path must begin with "/" + share name, with
// one slash: the volume path is put together by the length of the share's name, so that a path
// without the slash loses the character after the name, and one with two leads out of the share.
// ".." is not resolved. Check a path that came from outside before, or the result after.
//   sharePath     e.g. "/music/a/b.mp3", at most 4095 bytes of it are read for the share name
//   fullPath      out: "/volume1/music/a/b.mp3"
//   shareName     out: "music"; "home" for the user's home folder
//   volume        out: "/volume1"
//   shareVolPath  out: "/volume1/music", or the user's home folder
//   userName      whose home folder "/home/" is; must not be empty
// True on success. After a failure `shareName` may have been written; the others are as they were.
TONVALE_EXPORT bool FullPathGet(const char *sharePath, std::string &fullPath,
                                std::string &shareName, std::string &volume,
                                std::string &shareVolPath, const std::string &userName) noexcept;

// The share-relative path of a volume path, or "" when no share holds it or it is not written in
// the share's own way ("//", "/./" or ".." in it).
TONVALE_EXPORT std::string GetSharePathByVolPath(const char *volPath) noexcept;

// The absolute path of a playlist's entry: a relative one counts from `folder`, which is absolute
// itself; "." and ".." are removed, links are not looked at. "" for an empty entry and for a path
// of 4096 bytes or more, which no file of the library has.
TONVALE_EXPORT std::string GetAbsolutePath(const std::string &folder,
                                           const std::string &entry) noexcept;

// The user's home folder with links resolved, followed by "/music"; "" for an unknown user. The
// folder need not exist; an account without a home folder gives "/music".
TONVALE_EXPORT std::string GetHomeMusicPath(const std::string &userName) noexcept;

}  // namespace AudioFile
