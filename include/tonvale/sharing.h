// Share links: playlists, and a collection of single songs, published under a short random link.
//
// A link is a row of the table "playlist_sharing". Its status follows from its dates, which are
// days of the local time zone, "YYYY-MM-DD": it works from the first moment of avail_date to the
// last of exp_date. A program that renames or deletes a playlist, switches personal libraries or
// takes the sharing permission from a user calls the Handle... operations afterwards.
//
// Failures are logged with syslog(3) at error level and answered with false or ""; nothing throws.
// The database is connected when it is first needed and stays connected for the life of the object.
// Texts are UTF-8 without a NUL; others are refused.
//
// Calls switch the effective user of the process, and back before they return: they are for
// single-threaded processes. Only those that write the list of single shared songs
// (GetPredefinedSharingRecord, ShareSingleSong) leave the process running as the package's account.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "tonvale/export.h"
#include "varn/db.h"

namespace varn {
class Rows;
}

namespace Tonvale {

// One link.
struct TONVALE_EXPORT SharingData {
    SharingData() noexcept { Reset(); }
    // Empties all texts and unsets the user.
    void Reset() noexcept;

    std::string id;           // SharingManager::SHARING_ID_SIZE characters; "" until there is one
    std::string playlist_id;  // the playlist's identifier (tonvale/webapi.h)
    std::string user_name;    // the owner's
    std::string path;         // the playlist's file, or the file of smart playlists
    std::string avail_date;   // first day, or DATE_DEFAULT for no start
    std::string exp_date;     // last day, or DATE_DEFAULT for no end
    std::string status;       // "valid", "invalid" (not yet), "expired"; "none" after deletion
    uint32_t user_id;         // the owner's; 4294967295: unset
};

// The two parts of a "Host" header (RFC 9110, section 7.2). The host of an IPv6 literal keeps its
// brackets; the port is "" where there is none.
struct parsed_url {
    std::string host;
    std::string port;
};

class TONVALE_EXPORT SharingManager {
  public:
    static constexpr std::size_t SHARING_ID_SIZE = 8;
    static constexpr char DATE_DEFAULT[] = "1970-01-01";
    static constexpr char URL_PATTERN[] = "/as/sharing/";

    SharingManager() noexcept = default;
    ~SharingManager();
    SharingManager(const SharingManager &) = delete;
    SharingManager &operator=(const SharingManager &) = delete;

    // The object's connection to the library database, which the object closes. False, with `out`
    // as it was, when there is none.
    bool GetDBConnection(DBConnect_tag *&out) noexcept;

    // True when the user exists and has the sharing permission.
    bool IsUserAllowSharing(const unsigned int &uid) noexcept;

    // ---- rows -----------------------------------------------------------------------------------

    // True when no link has the identifier, and also when that could not be asked: take the answer
    // as "may be used".
    bool CheckSharingIdExist(std::string id) noexcept;

    // A new identifier. While it belongs to a link already, at most five more are made, each after
    // a wait of 1,000 seconds; the last one is returned whether it is free or not. Identifiers are
    // made from the second of the time of day: two that are asked for in one second are the same,
    // and they can be guessed, so a link hides nothing that must stay secret.
    std::string GetSharingHashString() noexcept;

    // Adds a row. user_id and playlist_id must be set; if one of the dates is empty both become
    // DATE_DEFAULT; an empty id is made here. On success status is the link's. After a failure id
    // and dates may have been set.
    bool AddSharingRecord(SharingData &rec) noexcept;

    // Gives the link of user_id and playlist_id the dates of `rec`, treated as above, and sets
    // status. True whether there is such a row or not.
    bool UpdateSharingRecord(SharingData &rec) noexcept;

    // Removes the link of user_id and playlist_id; on success id is "", the dates are DATE_DEFAULT
    // and status is "none". True whether there was such a row or not.
    bool DeleteSharingRecord(SharingData &rec) noexcept;

    // Fills `rec` from the row with its id or, when that is empty, from the row of its user_id and
    // playlist_id. The owner must have the sharing permission. A shared playlist that got another
    // row id since is stored under that one, while rec.playlist_id stays. With onlyValid a link
    // that does not work today gives false, with `rec` filled.
    bool GetSharingRecord(SharingData &rec, bool onlyValid) noexcept;

    // The object of the web API: id, url, date_available, date_expired ("0" for none), status.
    void ConvertSharingInfoObj(const SharingData &rec, Json::Value &out) noexcept;

    // ---- single songs ---------------------------------------------------------------------------

    // The playlist file of a user's single shared songs; "" for an unknown user.
    std::string GetPredefinedSharingPlsPath(const std::string &user) noexcept;

    // The link of those songs, into a fresh `rec` (an id in it is looked up instead). When
    // GetSharingRecord does not find it, adds a row without dates and then writes an empty playlist
    // into the user's preference folder, which must exist. That replaces a list that is there, and
    // happens also for a user without the sharing permission: ask IsUserAllowSharing before.
    bool GetPredefinedSharingRecord(const std::string &user, SharingData &rec) noexcept;

    // Adds a song to those songs, or removes it. A song that is there already stays once; one that
    // is not there is removed successfully.
    //   songId    the song's identifier, for adding
    //   songPath  its path, or virtual name
    bool ShareSingleSong(bool add, const std::string &user, const std::string &songId,
                         const std::string &songPath) noexcept;

    // ---- songs of a link ------------------------------------------------------------------------

    // The identifier of the shared playlist's first song.
    bool GetFirstSongIdInPlaylist(const SharingData &rec, std::string &songId) noexcept;

    // True when the song, by its path or virtual name, is in the shared playlist.
    bool CheckSongAllowSharing(const SharingData &rec, const std::string &song) noexcept;

    // ---- address --------------------------------------------------------------------------------

    // Scheme, host and port under which the server is reached from outside, and the web portal's
    // prefix, e.g. "https://nas.example.org:5001/portal"; from the request's environment
    // (HTTP_HOST, SERVER_PORT, HTTPS, REQUEST_URI), the relay service, "/etc/varninfo.conf" and the
    // dynamic-DNS tool. Found once for the life of the object.
    std::string GetRemoteAddr() noexcept;

    // What stands before "/webapi" in REQUEST_URI; all of it when that does not contain "/webapi".
    std::string GetPortalPrefix() noexcept;

    // A link's address, and that of a file under it, whose share-relative path is appended in
    // base64 with "-" and "_" in place of "+" and "/". "" when an argument is empty.
    std::string GetUrl(const std::string &id) noexcept;
    std::string GetUrl(const std::string &id, const std::string &path) noexcept;

    // ---- all links of a user at once ------------------------------------------------------------

    // Reads the user's links. True also, with nothing read, for a user without the permission.
    bool PrepareSharingCache(unsigned int uid) noexcept;

    // The link of a playlist, from what PrepareSharingCache read, as ConvertSharingInfoObj writes
    // it. False with the object of a playlist that is not shared (status "none") when there is no
    // link; with an empty playlistId `out` is left alone.
    bool GetSharingRecordFromCache(const std::string &playlistId, const std::string &path,
                                   Json::Value &out) noexcept;

    // Moves the link of the file `path` to the identifier of a shared normal playlist, whose row id
    // changes when the library is indexed anew; in what was read and, for the links of all users to
    // that file, in the table. False when there is no such link, or when playlistId does not
    // contain "playlist_shared_normal". Neither this call nor GetSharingRecordFromCache checks that
    // playlistId names a playlist of that kind in that file.
    bool CheckAndUpdateCacheRecord(const std::string &playlistId, const std::string &path) noexcept;

    // The same in the table alone: looks the playlist's present row id up by its path. True when
    // that could be asked.
    bool CheckAndUpdateRecord(const std::string &playlistId, const std::string &path) noexcept;

    // Stores the links of a file under another playlist identifier. The result is always false.
    bool UpdatePlsId(const std::string &playlistId, const std::string &path) noexcept;

    // ---- what happens to links when something else changes --------------------------------------

    // A normal playlist has a new name, and so a new identifier and file.
    bool HandleNormalPlaylistRename(std::string newPlaylistId, std::string newPath,
                                    std::string oldPath) noexcept;
    // Both go by the identifier alone, for the links of all users: the personal playlists of two
    // users that have the same name, or number, have the same identifier.
    bool HandleSmartPlaylistRename(std::string newPlaylistId, std::string oldPlaylistId) noexcept;
    bool HandlePlaylistDelete(std::string playlistId) noexcept;
    // Personal libraries were switched on or off: the links of all users' personal normal playlists
    // and single songs are removed.
    bool HandlePersonalLibChange() noexcept;
    // A user lost the sharing permission.
    bool HandleDeleteUserPrivilege(unsigned int uid) noexcept;

  private:
    bool Connected();
    // Runs a statement over the connection; nothing, with a log line, when that failed.
    std::optional<varn::Rows> Run(const std::optional<std::string> &statement,
                                  int line = __builtin_LINE());
    // GetSharingRecord of any status.
    bool FindRecord(SharingData &rec);

    DBConnect_tag *conn_ = nullptr;
    Json::Value cache_;
    std::string remoteAddr_;
};

}  // namespace Tonvale
