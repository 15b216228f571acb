// Which files a download holds, and their names in it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "service/lists/list.h"
#include "service/playlists/playlists.h"

namespace tonvale_service {

inline constexpr int kMostDownloads = 10'000;  // files

struct DownloadFile {
    uid_t owner;       // of the song's row
    std::string path;  // as the library has it
    std::string name;  // a path in the archive (ZipNames::Add)
};

struct Download {
    std::string name;  // of the archive, without an extension; any text
    std::vector<DownloadFile> files;
};

// Each throws a Failure, also for more files than a download may have. A track of a cue sheet
// stands for its file, which is there once. Streams are left out.

// The songs that a request's filters choose, of which it needs one. Their order is that of discs
// and tracks; without an album in the filters each has a folder.
Download DownloadOf(const ListRequest &request);

// What is in the folder of a row, and in the folders below it.
Download DownloadOfFolder(const ListRequest &request, int row);

// The songs of a playlist, numbered.
Download DownloadOfPlaylist(const AnyPlaylist &playlist,
                            const Tonvale::webapi::playlist::PlaylistLibrary &library);

// Songs by their identifiers, each of which must be there.
Download DownloadOfSongs(uid_t uid, const std::vector<std::string> &ids);

}  // namespace tonvale_service
