// The playlist parser: what the entries of a playlist file name.
#pragma once

#include "varn/base.h"
#include "varn/export.h"
#include "varn/mediaindex.h"

extern "C" {

// Reads the entries of a playlist (m3u, m3u8, pls or wpl by its extension, in any case) as it is
// written by whatever program, in any encoding that varn::ToUtf8 (varn/text.h) knows. A playlist
// that this process may not read is read as root where the process may become root.
//   candidates  out: the entries in the file's order (of a pls in the order of their numbers), each
//               an absolute path or the URL of a remote one; released with VLIBCSzListFree
//   remote      out: the remote entries (http, https) in ascending order, with their position among
//               all entries, from 0, as id, the URL and the tags that stand before it; released
//               with VARNPlaylistRecFree. Behind the first 100,000 they are left out
//
// A relative entry counts from the playlist's folder, "." and ".." removed. Where that file is not
// there, these are looked for in turn: the entry without blanks at its ends; percent signs decoded;
// backslashes as slashes; the Unicode normal forms of each component; and for paths of Windows,
// with a drive or a server's name, the longest tail that is there below an indexed folder. An entry
// for which none of them is there stays as it is. Lists within lists are entries like others. In an
// m3u a line that begins with "#" is an entry only when a file of that name is there.
//
// The number of entries, or -1 with both outputs null and the error state set: a file that is
// missing, not a regular one, larger than 256 MiB or not to be read, an unknown extension.
VARN_EXPORT int GetCandidateListByPlaylistParse(const char *path, PVLIBSZLIST *candidates,
                                                PLAYLIST_REC **remote);

}  // extern "C"
