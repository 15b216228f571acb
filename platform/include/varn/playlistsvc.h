// The playlist parser: what the entries of a playlist file name; and the smart playlists.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "varn/base.h"
#include "varn/export.h"
#include "varn/mediaindex.h"

extern "C" {

// Reads the entries of a playlist (m3u, m3u8, pls or wpl by its extension, in any case) from any
// program, in any encoding that varn::ToUtf8 (varn/text.h) knows. Without a byte order mark only
// the lines that are not UTF-8 are read in a code page; in an m3u8, and in a wpl that this system
// wrote, U+FFFD stands for what is not UTF-8. When this process may not read a playlist but may
// become root, it reads it as root.
//   candidates  out: the entries in the file's order (of a pls in the order of their numbers), each
//               an absolute path or the URL of a remote one; released with VLIBCSzListFree
//   remote      out: the remote entries, of whatever scheme, in ascending order, with their
//               position among all entries, from 0, as id, the URL and the tags that stand before
//               it; released with VARNPlaylistRecFree. After the first 100,000 they are left out
//
// A relative entry counts from varn::PlaylistFolder, "." and ".." removed. Where that file is not
// there, these are looked for in turn: the entry without blanks at its ends; percent signs decoded;
// backslashes as slashes; the Unicode normal forms of each component; and for paths of Windows,
// with a drive or a server's name, the longest tail that is there below an indexed folder. An entry
// for which none of them is there stays as it is. Lists within lists are entries like others. In an
// m3u a line that begins with "#", after blanks or not, is an entry only when a file of that name
// is there. When the list is read as root for another account, root's rights find files only in the
// indexed folders and in the music of the list's user. Elsewhere, by its real path, a file is there
// if the package's account sees it.
//
// The number of entries, or -1 with both outputs null and the error state set: a file that is
// missing, not a regular one or not to be read, one of more than varn::kMostPlaylistBytes or
// 200,000 entries (errno is EFBIG), one with a NUL in its text (EILSEQ), an unknown extension.
VARN_EXPORT int GetCandidateListByPlaylistParse(const char *path, PVLIBSZLIST *candidates,
                                                PLAYLIST_REC **remote);

// True when a file holds a smart playlist of that name, even when its rule is broken.
VARN_EXPORT bool IsiTunesPlaylistExistByFilename(const char *file, const char *name);

}  // extern "C"

// Smart playlists: named rules in a text file, one for all users, "/etc/mt-daapd.playlist", and one
// for each, "playlists/smart.playlist" in the preference folder. docs/smart-playlists.md tells how
// they are written. A rule becomes an SQL condition on the track view (tonvale/library.h): texts
// are escaped, and fields come from a closed table.
class VarnAudioUtils {
  public:
    // The condition of a playlist in the shared file, or in any file; "" with the error state set
    // when the file cannot be read, there is no such playlist or its rule is broken.
    VARN_EXPORT static std::string LoadSmartPlsRules(const std::string &name);
    VARN_EXPORT static std::string LoadSmartPlsRulesByFilename(const std::string &file,
                                                               const std::string &name);
};

namespace varn {

// The most bytes of a playlist file: 200,000 songs with paths of some 80 bytes. Many requests read
// lists at the same time, and each needs several times the size of its list.
inline constexpr std::size_t kMostPlaylistBytes = std::size_t{16} << 20;

// The absolute folder that the relative entries of a playlist count from, for their readers and
// writers: the file's own with all links followed. In an indexed folder its path begins as that
// folder is configured. When the playlist does not exist, the links of its folder are followed, and
// when that does not exist either it is the folder as written. Throws std::bad_alloc alone.
VARN_EXPORT std::string PlaylistFolder(const std::string &playlist);

// What the writer of a file of smart playlists should know.
struct SmartPlaylistNote {
    int line;        // from 1
    int column;      // from 1, in characters
    bool isWarning;  // the rule still counts
    std::string text;
};

struct SmartPlaylist {
    std::string name;
    int line;               // of the name
    std::string condition;  // "" when the rule is broken
    std::string rule;       // as it is written, without blanks at its ends
    std::size_t begin;      // in the text: the quote before its name
    std::size_t end;        // after its "}"
    std::vector<SmartPlaylistNote> notes;
};

struct SmartPlaylistFile {
    std::vector<SmartPlaylist> playlists;  // in the file's order; of equal names the first
    std::vector<SmartPlaylistNote> notes;  // on what stands between them
};

// The playlists that a text holds. Throws std::bad_alloc alone.
VARN_EXPORT SmartPlaylistFile ParseSmartPlaylists(std::string_view text);

// The text of a file of at most 1 MiB, and the playlists that it holds. Empty with the error state
// set when it cannot be read; a file that is missing has no playlists.
VARN_EXPORT std::optional<std::string> ReadSmartText(const std::string &file);
VARN_EXPORT std::optional<SmartPlaylistFile> ReadSmartPlaylists(const std::string &file);

}  // namespace varn
