#include <memory>
#include <optional>

#include "sharing/sharing.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/song_list.h"
#include "tonvale/playlists.h"
#include "tonvale/sharing.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"
#include "varn/process.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using sharing::kSource;
using support::Guarded;
using webapi::playlist::kSharedSongsId;
using webapi::playlist::PlaylistLibrary;

using varn::kPathSize;

// A text that the functions for plain texts would cut.
bool HasNul(const std::string &text) {
    return text.find('\0') != std::string::npos;
}

struct Key {
    bool smart = false;
    std::string text;
};

std::optional<Key> ParsePlaylist(const SharingData &rec) {
    Key key;
    bool shared = false;
    if (VARNAudioWebapiUtilsParsePlaylistId(rec.playlist_id, shared, key.smart, key.text) != 1) {
        LOG_ERROR(kSource, "Failed to parse playlist info by id.");
        return std::nullopt;
    }
    return key;
}

// The condition of a smart playlist; "", with a log line, when there is no such playlist.
std::string Rules(const SharingData &rec, const std::string &name) {
    std::string rules = VarnAudioUtils::LoadSmartPlsRulesByFilename(rec.path, name);
    if (rules.empty()) {
        LOG_ERROR(kSource, "Fail to load smart playlist rules [%s]", rec.path.c_str());
    }
    return rules;
}

// The first song in the owner's browse library that meets a condition. Nothing on failure, which is
// logged; null when there is none.
std::optional<varn::OwnedSongs> FirstSong(const SharingData &rec, const std::string &condition) {
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(rec.user_id);
    PLAYLIST_REC *list = nullptr;
    int count = 0;
    const int listed = VARNPlaylistSmartListSongs(rec.user_id, &list, nullptr, condition.c_str(),
                                                  &count, 0, 1, library.c_str());
    varn::OwnedSongs songs(list);
    if (listed < 0) {
        LOG_ERROR(kSource, "Fail to emun songs of smart playlist [%s]", rec.path.c_str());
        return std::nullopt;
    }
    return songs;
}

std::string SongId(const VARN_MEDIA_INFO &song, const char *path, bool isVirtual) {
    return std::string(IsPersonalLibraryPath(path) ? "music_p_" : "music_") +
           (isVirtual ? "v_" : "") + std::to_string(song.id);
}

bool FirstOfSmart(const SharingData &rec, const std::string &name, std::string &songId) {
    const std::string rules = Rules(rec, name);
    const auto first = rules.empty() ? std::nullopt : FirstSong(rec, rules);
    if (!first || !*first) {
        return false;
    }
    const VARN_MEDIA_INFO &song = (*first)->info;
    songId = SongId(song, song.path, IsVirtualMusic(&song));
    return true;
}

bool FirstOfNormal(const SharingData &rec, std::string &songId) {
    const auto song = std::make_unique<VARN_MEDIA_INFO>();
    char path[kPathSize] = "";
    if (VARNPlaylistGetFirstSong(rec.path.c_str(), rec.user_id, song.get(), path, sizeof(path)) !=
        0) {
        return false;
    }
    char file[kPathSize] = "";
    int track = 0;
    songId = SongId(*song, path, IsVirtualPath(path, file, sizeof(file), &track));
    return true;
}

// The song's row, by its path or virtual name; nothing when the text cannot be a path.
std::optional<std::string> SongCondition(const std::string &song) {
    char file[kPathSize] = "";
    int track = 0;
    if (!IsVirtualPath(song.c_str(), file, sizeof(file), &track)) {
        return varn::Sql(" AND path = '@VARN:VAR'", song);
    }
    return varn::Sql(" AND path = '@VARN:VAR' AND track = @VARN:INT", file, track);
}

}  // namespace

std::string SharingManager::GetPredefinedSharingPlsPath(const std::string &user) noexcept {
    return Guarded(kSource, std::string(), [&] {
        char directory[kPathSize - 1] = "";
        if (HasNul(user) || GetUserIdFromName(user.c_str()) == varn::kNoUser ||
            VARNUserPreferenceDirGet(user.c_str(), directory, sizeof(directory)) != 0) {
            LOG_ERROR(kSource, "cannot get preference dir, user name=%s", user.c_str());
            return std::string();
        }
        return PlaylistLibrary(0, user, directory)  // found by the folder alone
            .GetPlaylistPath(kSharedSongsId, PLAYLIST_TYPE_PERSONAL);
    });
}

bool SharingManager::GetPredefinedSharingRecord(const std::string &user,
                                                SharingData &rec) noexcept {
    return Guarded(kSource, false, [&] {
        const std::string path = GetPredefinedSharingPlsPath(user);
        if (path.empty()) {
            LOG_ERROR(kSource, "cannot get preference dir, user name=%s", user.c_str());
            return false;
        }
        rec.playlist_id = kSharedSongsId;
        rec.user_id = GetUserIdFromName(user.c_str());
        if (GetSharingRecord(rec, false)) {
            return true;
        }
        rec.path = path;
        rec.user_name = user;
        if (!AddSharingRecord(rec)) {
            return false;
        }
        if (VARNWriteMusicPlaylist(nullptr, path.c_str()) != 0) {
            LOG_ERROR(kSource, "Failed to create playlist %s", path.c_str());
            return false;
        }
        return true;
    });
}

bool SharingManager::ShareSingleSong(bool add, const std::string &user, const std::string &songId,
                                     const std::string &songPath) noexcept {
    return Guarded(kSource, false, [&] {
        if (HasNul(user) || HasNul(songId) || HasNul(songPath)) {
            LOG_ERROR(kSource, "Bad parameter.");
            return false;
        }
        const uid_t uid = GetUserIdFromName(user.c_str());
        SharingData rec;
        if (!GetPredefinedSharingRecord(user, rec)) {
            return false;
        }
        if (!add) {
            VARNPersonalPlaylistRemoveSongByPath(uid, rec.path.c_str(), songPath.c_str());
            return true;
        }
        if (VARNPlaylistCheckSong(uid, rec.path.c_str(), songPath.c_str()) == 0) {
            return true;
        }
        Json::Value ids(Json::arrayValue);
        ids.append(songId);
        PLAYLIST_REC *list = nullptr;
        const int found = VARNAudioWebapiUtilsGetMediaList(uid, ids, &list);
        const varn::OwnedSongs songs(list);
        if (found < 0) {
            LOG_ERROR(kSource, "Failed to get MediaInfo list by song id.[%s]", songId.c_str());
            return false;
        }
        if (VARNPersonalPlaylistAppendSongs(uid, rec.path.c_str(), songs.get(), 1) != 0) {
            LOG_ERROR(kSource, "Failed to add songs into playlist.");
            return false;
        }
        return true;
    });
}

bool SharingManager::GetFirstSongIdInPlaylist(const SharingData &rec,
                                              std::string &songId) noexcept {
    return Guarded(kSource, false, [&] {
        const auto key = ParsePlaylist(rec);
        return key &&
               (key->smart ? FirstOfSmart(rec, key->text, songId) : FirstOfNormal(rec, songId));
    });
}

bool SharingManager::CheckSongAllowSharing(const SharingData &rec,
                                           const std::string &song) noexcept {
    return Guarded(kSource, false, [&] {
        if (HasNul(song)) {
            LOG_ERROR(kSource, "Bad parameter.");
            return false;
        }
        const auto key = ParsePlaylist(rec);
        if (!key) {
            return false;
        }
        if (!key->smart) {
            return VARNPlaylistCheckSong(rec.user_id, rec.path.c_str(), song.c_str()) == 0;
        }
        const std::string rules = Rules(rec, key->text);
        if (rules.empty()) {
            return false;
        }
        const auto condition = SongCondition(song);
        if (!condition) {
            LOG_ERROR(kSource, "Failed to escape string [%s]", song.c_str());
            return false;
        }
        const auto first = FirstSong(rec, "(" + rules + ")" + *condition);
        return first && *first;
    });
}

}  // namespace Tonvale
