// The songs whose covers stand for albums and folders.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "service/covers/cover.h"

namespace tonvale_service {

// How many songs of an album or a folder are looked at.
inline constexpr int kMostCoverSongs = 10;

struct CoverSong {
    uid_t owner;
    std::string path;
};

// Each gives songs that the user may see, at least one, and throws a Failure where there is none.
// `kind` is a part of the library (ChosenKind). "" means any album artist.
std::vector<CoverSong> CoverSongsOfAlbum(const std::string &kind, uid_t uid,
                                         const std::string &album, const std::string &albumArtist);
std::vector<CoverSong> CoverSongsOfFolder(const std::string &kind, uid_t uid,
                                          const std::string &folderId);
// The first of the songs with these identifiers.
std::vector<CoverSong> CoverSongsOf(uid_t uid, std::vector<std::string> ids);

// The first cover of these songs, as OpenCoverOf opens it; empty when none of them has one.
std::optional<Picture> FirstCover(const std::vector<CoverSong> &songs, int side,
                                  void (*beforeMaking)());

}  // namespace tonvale_service
