// Settings: the JSON file store, the users' rights and preferences, and the package's small stores.
//
// Files that cannot be opened, read, parsed or written are logged with syslog(3); nothing throws.
// Files are read and written whole and without a lock: of two writers at once the last one wins.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

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

// Per-user preferences, kept in the package's users file under the user id in decimal, as a signed
// number: that of 4294967294 is "-2".
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
// AudioUsers::SetUser stores a number there and so resets the preference.
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

// ---- rights ------------------------------------------------------------------------------------

// The bits of a permission mask.
enum VARN_AUDIO_RIGHT : unsigned {
    RIGHT_USB = 1,        // play through the server's own output
    RIGHT_STREAMING = 2,  // stream to the browser or another client
    RIGHT_PLAYLIST = 4,   // manage shared playlists
    RIGHT_UPNP = 8,       // play to UPnP renderers
    RIGHT_EDITSONG = 16,  // edit the tags of songs
    RIGHT_SHARING = 32,   // make share links
    RIGHT_ALL = 63,
};

// The users file "/var/packages/Tonvale/etc/audio.users": an object with an entry for each user id
// in decimal, which holds the rights as booleans and the preferences above. It is written indented.
// What it holds may have been edited by hand: whatever has not the expected type reads as absent.
namespace AudioUsers {

// Makes the file when there is none: every right for the user "admin", none for "guest". True when
// it is there afterwards.
TONVALE_EXPORT bool InitUserPermission() noexcept;

// Reads and parses a file of at most 1 MiB, comments allowed. True on success; after a failure
// `json` may be partly filled and means nothing.
TONVALE_EXPORT bool Read(Json::Value &json, const std::string &path) noexcept;

// Writes a document to PATH.tmp and puts that in the place of the file, so that a reader finds the
// old text or the new one. False when it could not be written; what was written then stays in the
// temporary file. True also when only the last step failed, which is logged.
TONVALE_EXPORT bool Save(const Json::Value &json, const std::string &path) noexcept;

// Replaces the entry of a user in `json` by one made from a mask and from the preferences that are
// in the users file. The browse preference is stored as a number, which its readers take for
// "all": setting a user's rights resets it. A document that is no object is replaced by one.
TONVALE_EXPORT void SetUser(Json::Value &json, uid_t uid, unsigned mask) noexcept;

// Removes the entry of a user from `json`.
TONVALE_EXPORT void Remove(Json::Value &json, uid_t uid) noexcept;

// The mask that `json` gives a user: streaming always, whatever the entry says, and the others as
// it says. An administrator has every right.
TONVALE_EXPORT unsigned GetUser(const Json::Value &json, uid_t uid, bool isAdmin) noexcept;

// The mask of a user by name. The user "admin" and the members of the group "administrators" have
// every right. 0 for an unknown user, one who may not use the application at all
// (VLIBAppPrivUserHas, varn/account.h), and when the users file cannot be read.
TONVALE_EXPORT unsigned GetUserPermission(const std::string &userName) noexcept;

// The user ids that have an entry, in the order of their text; names that are no positive number
// are passed over.
TONVALE_EXPORT std::vector<unsigned> enumUsers(const Json::Value &json) noexcept;

// Removes the entries of users that cannot be looked up from the users file and saves it. Nothing
// is done when it cannot be read. Accounts that cannot be read look the same as accounts that are
// gone: call it when the system is up.
TONVALE_EXPORT void SyncUsers() noexcept;

}  // namespace AudioUsers

// ---- custom keys -------------------------------------------------------------------------------

// "/var/packages/Tonvale/etc/custom_key.json" holds four keys, each with a type, a value and a
// title, addressed by 1 to 4.

// Loads the document, or four empty keys when there is no file yet. 0 or -1.
TONVALE_EXPORT int VARNAudioCustomLoadJson(Json::Value &json) noexcept;

// Reads or replaces one key. A text that is missing or of another type reads as "". 0, or -1 with
// the outputs unchanged (an index outside 1 to 4, a file that cannot be read or is no such
// document). The first change writes the file, and makes items where it has none.
TONVALE_EXPORT int VARNAudioCustomGet(int index, std::string &type, std::string &value,
                                      std::string &title) noexcept;
TONVALE_EXPORT int VARNAudioCustomSet(int index, const std::string &type, const std::string &value,
                                      const std::string &title) noexcept;

// ---- passwords of players ----------------------------------------------------------------------

// "/var/packages/Tonvale/etc/password.json" keeps passwords by the name of a device or player,
// encrypted with the platform's key (varn/crypt.h). The file must be there.

// Loads the document as it is, with the encrypted passwords. 0 or -1.
TONVALE_EXPORT int VARNAudioPasswordLoadJson(Json::Value &json) noexcept;

// Writes the password of a name into `out`, cut to outSize - 1 bytes. 0, or -1 with `out` unchanged
// (a bad argument, no such name, which is not logged, a file that cannot be read, a ciphertext that
// cannot be decrypted).
TONVALE_EXPORT int VARNAudioPasswordGet(const char *name, char *out, int outSize) noexcept;

// Stores the password of a name. Neither may be empty. 0 or -1.
TONVALE_EXPORT int VARNAudioPasswordSet(const char *name, const char *password) noexcept;

// Writes the MD5 digest (RFC 1321) of a text as 32 hexadecimal digits and a NUL: `out` has 33
// bytes. 0, or -1 for a null argument. It is what digest authentication asks for, and protects
// nothing.
TONVALE_EXPORT int VARNAudioGetMd5(const char *text, char *out, bool upperCase) noexcept;

// ---- players that play together ----------------------------------------------------------------

// Player types, and the files of their selections, which must be there:
// "/var/packages/Tonvale/etc/multiairplay.json" and "multibluetooth.json". A file has a boolean for
// each device that was ever selected: true when it is now.
enum VARN_MULTI_PLAYER : int {
    MULTI_PLAYER_AIRPLAY = 0,
    MULTI_PLAYER_BLUETOOTH = 1,
};

// Load and save the selection of a player type. 0, or -1 (another type, the file).
TONVALE_EXPORT int VARNAudioMultiPlayerLoad(int type, Json::Value &json) noexcept;
TONVALE_EXPORT int VARNAudioMultiPlayerSave(int type, const Json::Value &json) noexcept;

// Makes an array of device ids the selection; entries that are no text are passed over, and a value
// without entries selects none. 0, or -1 (another type, a file that cannot be read, is no object or
// cannot be written).
TONVALE_EXPORT int VARNAudioMultiPlayerSet(int type, const Json::Value &deviceList) noexcept;

// Takes one device out of the selection. 0 or -1.
TONVALE_EXPORT int VARNAudioMultiPlayerUnsetOne(int type, const char *deviceId) noexcept;
