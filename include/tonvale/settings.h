// Settings: the JSON file store and the users' preferences.
//
// Files that cannot be opened, read, parsed or written are logged with syslog(3); nothing throws.
// Files are read and written whole and without a lock: of two writers at once the last one wins.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include "tonvale/export.h"

// Writes a document to a file, on one line (RFC 8259; characters beyond ASCII as \u escapes). The
// file is overwritten in place: there is no temporary file, and a failure may leave it cut short.
// Not every value comes back: bytes that are not UTF-8 are garbled, infinity and a document nested
// deeper than 1000 are written in a form that VARNAudioJsonLoad refuses.
// 0, or -1 (null or empty path, the file cannot be opened or written).
TONVALE_EXPORT int VARNAudioJsonSave(const char *path, const Json::Value &json) noexcept;

// Reads a file into a document, comments allowed. 0, or -1 (the file cannot be opened or parsed);
// the document may then be partly filled and means nothing.
TONVALE_EXPORT int VARNAudioJsonLoad(const char *path, Json::Value &json) noexcept;

// Which library a user browses.
enum _tag_BROWSE_LIBRARY_TYPE : int {
    BROWSE_LIBRARY_ALL = 0,
    BROWSE_LIBRARY_PERSONAL = 1,
};

// Per-user preferences, kept in the package's users file under the user id in decimal.
//
// A getter answers the default when there is no such entry or it has the wrong type. A setter loads
// the file, changes one entry and saves the whole; it returns true when the file was saved, and
// false, with nothing written, when it could not be loaded: on a fresh system the users file has to
// be made first. A user's entry that is no object is replaced by one; comments are lost.
namespace AudioFile {

// Transcode to MP3 for this user; default true. Without "support_transcode_mp3" in the package's
// defaults the answer is true and nothing can be set.
TONVALE_EXPORT bool GetUserTranscodeMp3(uid_t uid) noexcept;
TONVALE_EXPORT bool SetUserTranscodeMp3(uid_t uid, bool transcode) noexcept;

// The user prefers the HTML5 player; default true.
TONVALE_EXPORT bool GetPreferHtml5(uid_t uid) noexcept;
TONVALE_EXPORT bool SetPreferHtml5(uid_t uid, bool prefer) noexcept;

// Show the virtual tracks of cue sheets; default true. False whenever virtual libraries are not
// supported (IsSupportVirtualLib).
TONVALE_EXPORT bool GetUserShowVirtualLib(uid_t uid) noexcept;
TONVALE_EXPORT bool SetUserShowVirtualLib(uid_t uid, bool show) noexcept;

// Which library the user browses; default all. Kept as the text "all" or "personal"; setting any
// other value stores an empty text, which reads as all. An entry of another type reads as all too:
// a writer that stores a number there resets the preference.
TONVALE_EXPORT _tag_BROWSE_LIBRARY_TYPE GetUserBrowsePersonalLibraryType(uid_t uid) noexcept;
TONVALE_EXPORT bool SetUserBrowsePersonalLibraryType(uid_t uid,
                                                     _tag_BROWSE_LIBRARY_TYPE type) noexcept;

// True when "/etc.defaults/VERSION" has a build number above 5515.
TONVALE_EXPORT bool IsSupportVirtualLib() noexcept;

}  // namespace AudioFile

extern "C" {

// GetUserShowVirtualLib as a plain function.
TONVALE_EXPORT bool AudioFileGetUserShowVirtualLib(uid_t uid) noexcept;

}  // extern "C"
