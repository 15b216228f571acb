// Changing a playlist: read whole, put together anew, written whole.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "misc/usb_volume.h"
#include "playlist/catalogue.h"
#include "playlist/duplicates.h"
#include "playlist/parse.h"
#include "playlist/source.h"
#include "playlist/writer.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/numbers.h"
#include "support/remote_path.h"
#include "support/virtual_name.h"
#include "varn/account.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace Tonvale::playlist {

namespace {

// Null-terminated, as the writer wants it. 0, or -1 with a log line.
int WriteRecords(Records records, const std::string &path) {
    records.push_back(nullptr);
    if (VARNWriteMusicPlaylistWithMediaList(records.data(), path.c_str()) != 0) {
        LOG_ERROR(kSource, "Failed to update playlist.(%s)", path.c_str());
        return -1;
    }
    return 0;
}

// "" with a log line for a playlist that is not in the catalogue.
std::string PathOf(const char *library, uid_t uid, const char *playlistId) {
    varn::PathBuffer path{};
    if (VARNPlaylistPathGet(library, uid, support::LeadingInt(playlistId), path.data(),
                            static_cast<int>(path.size())) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to get playlist path.");
        return "";
    }
    return path.data();
}

// 0 or the error number of stat(2).
int LookAsRoot(const std::string &path) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kBackOrGoOn, kSource);
    if (!root) {
        LOG_ERROR(kSource, "Failed to run as root.");
        return EPERM;
    }
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? 0 : errno;
}

// Adding songs makes a playlist that is gone anew; one that cannot be read must not be emptied.
bool ReadIfThere(uid_t uid, const std::string &path, support::SongList &songs) {
    return ReadWhole(uid, path.c_str(), songs) || LookAsRoot(path) == ENOENT;
}

// ---- replacing and appending --------------------------------------------------------------------

enum class Duplicates { kKept, kLeftOut, kRefused };

constexpr std::optional<int> kEnd = std::nullopt;

struct Replacement {
    std::optional<int> start;  // kEnd: after the last entry
    int length;                // below 0: to the end
    const PLAYLIST_REC *songs;
    Duplicates duplicates;
};

// The new songs without those that stay in the playlist anyway. False when one is refused.
bool WithoutDuplicates(const Records &staying, const Replacement &change, varn::OwnedSongs &added) {
    support::SongList copy(kSource);
    for (const PLAYLIST_REC *song = change.songs; song != nullptr; song = song->next) {
        copy.Append(song->info);
    }
    added.reset(copy.Release());
    PLAYLIST_REC *rest = added.get();
    const bool accepted =
        RemoveDuplicates(staying, rest, change.duplicates == Duplicates::kRefused);
    added.release();  // its first entries may be gone
    added.reset(rest);
    return accepted;
}

// Puts songs before a place of the sequence. False, with a log line, when memory is short.
bool Insert(Records &records, Records::const_iterator at, const PLAYLIST_REC *songs) {
    try {
        const Records inserted = PointersTo(songs);
        records.insert(at, inserted.begin(), inserted.end());
        return true;
    } catch (const std::bad_alloc &) {
        LOG_ERROR(kSource, "Failed to calloc()");
        return false;
    }
}

// 0, or -1 with a log line.
int Replace(uid_t uid, const std::string &path, const Replacement &change) {
    support::SongList songs(kSource);
    if (!ReadIfThere(uid, path, songs)) {
        LOG_ERROR(kSource, "Failed to update playlist.(%s)", path.c_str());
        return -1;
    }
    Records records = PointersTo(songs.Head());
    const int count = VARNPlaylistRecCount(songs.Head());
    const int start = change.start.value_or(count);
    if (start < 0 || start > count) {
        LOG_ERROR(kSource, "Bad parameters. Start[%d] > TotalRow[%d]", start, count);
        return -1;
    }
    const bool toEnd = change.length < 0 || change.length > count - start;
    const auto at = records.erase(records.begin() + start,
                                  toEnd ? records.end() : records.begin() + start + change.length);
    varn::OwnedSongs added;
    if (change.duplicates != Duplicates::kKept) {
        if (!WithoutDuplicates(records, change, added)) {
            LOG_ERROR(kSource, "Failed to update playlist.(%s)", path.c_str());
            return -1;
        }
    }
    const PLAYLIST_REC *const songsToAdd =
        change.duplicates == Duplicates::kKept ? change.songs : added.get();
    return Insert(records, at, songsToAdd) ? WriteRecords(std::move(records), path) : -1;
}

int ReplaceInRow(const char *library, uid_t uid, const char *playlistId,
                 const Replacement &change) {
    const std::string path = PathOf(library, uid, playlistId);
    if (path.empty()) {
        return -1;
    }
    // With a look at duplicates the playlist is edited where its links lead to.
    return Replace(uid, change.duplicates == Duplicates::kKept ? path : ResolvedPath(path.c_str()),
                   change);
}

// ---- removing -----------------------------------------------------------------------------------

// Keeps the known, remote and removable songs of a list that was read from `path`.
int WriteWithoutMissing(const support::SongList &songs, const std::string &path) {
    const misc::UsbVolumes usb;
    Records kept;
    for (const PLAYLIST_REC *entry = songs.Head(); entry != nullptr; entry = entry->next) {
        const VARN_MEDIA_INFO &song = entry->info;
        if (song.id != 0 || support::IsRemotePath(song.path) || usb.Holds(song.path)) {
            kept.push_back(&song);
        }
    }
    kept.push_back(nullptr);
    if (VARNWriteMusicPlaylistWithMediaList(kept.data(), path.c_str()) != 0) {
        LOG_ERROR(kSource, "Failed to write playlist.(%s)", path.c_str());
        return -1;
    }
    return 0;
}

int RemoveMissing(uid_t uid, const char *playlistId, const std::string &path) {
    if (LookAsRoot(path) != 0) {
        LOG_ERROR(kSource, "Playlist(%s, %s) does not exist.", playlistId, path.c_str());
        return -1;
    }
    support::SongList songs(kSource);
    if (!ReadWhole(uid, path.c_str(), songs) || songs.Size() == 0) {
        LOG_ERROR(kSource, "Parse playlist (%s, %s) return NULL.", playlistId, path.c_str());
        return -1;
    }
    return WriteWithoutMissing(songs, path);
}

// The selected positions, sorted; null, with a log line, when there is none.
varn::StringList SelectedPositions(const char *selection) {
    varn::StringList positions(VLIBCSzListAlloc(0));
    PVLIBSZLIST list = positions.get();
    if (!positions || VLIBCStrTok(selection, ",", &list) < 0 ||
        VLIBCSzListSort(positions.get()) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to malloc list.");
        return nullptr;
    }
    if (positions->nItem == 0) {
        LOG_ERROR_OLD(kSource, "There is no selected item.");
        return nullptr;
    }
    return positions;
}

// Writes a list back without the selected positions.
int WriteUnselected(const PLAYLIST_REC *songs, const VLIBSZLIST &selected,
                    const std::string &path) {
    int position = 0;
    const PLAYLIST_REC *song = songs;
    const NextRecord next = [&]() -> const VARN_MEDIA_INFO * {
        while (song != nullptr &&
               VLIBCSzListFind(&selected, std::to_string(position).c_str()) >= 0) {
            song = song->next;
            ++position;
        }
        const PLAYLIST_REC *const kept = song;
        song = kept != nullptr ? kept->next : nullptr;
        ++position;
        return kept != nullptr ? &kept->info : nullptr;
    };
    if (WritePlaylist(next, path) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to update playlist.(%s)", path.c_str());
        return -1;
    }
    return 0;
}

int RemoveSongs(const char *library, uid_t uid, const char *playlistId, const char *selection) {
    const varn::StringList positions = SelectedPositions(selection);
    const std::string path = positions ? PathOf(library, uid, playlistId) : "";
    if (path.empty()) {
        return -1;
    }
    if (LookAsRoot(path) != 0) {
        LOG_ERROR_OLD(kSource, "Playlist(%s, %s) does not exist.", playlistId, path.c_str());
        return -1;
    }
    const varn::OwnedSongs songs(VARNPlaylistParseByPath(uid, path.c_str(), nullptr, nullptr, 0, 0,
                                                         "id, path, title, album", 0));
    if (!songs) {
        LOG_ERROR_OLD(kSource, "pMusicRec is null.");
        return -1;
    }
    return WriteUnselected(songs.get(), *positions, path);
}

int RemoveByPath(uid_t uid, const std::string &path, std::string_view songPath) {
    support::SongList songs(kSource);
    if (!ReadWhole(uid, path.c_str(), songs)) {
        LOG_ERROR(kSource, "Failed to update playlist.(%s)", path.c_str());
        return -1;
    }
    Records kept;
    for (const PLAYLIST_REC *song = songs.Head(); song != nullptr; song = song->next) {
        if (support::NameInPlaylist(song->info) != songPath) {
            kept.push_back(&song->info);
        }
    }
    return kept.size() == static_cast<std::size_t>(songs.Size()) ? 0 : WriteRecords(kept, path);
}

bool IsBadRow(const char *library, uid_t uid, const char *playlistId) {
    if (library == nullptr || uid == varn::kNoUser || playlistId == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return true;
    }
    return false;
}

bool IsBadFile(uid_t uid, const char *playlistPath) {
    if (uid == varn::kNoUser || !NonEmptyStr(playlistPath)) {
        LOG_ERROR(kSource, "Bad parameter.");
        return true;
    }
    return false;
}

}  // namespace

}  // namespace Tonvale::playlist

using namespace Tonvale::playlist;
using Tonvale::support::Guarded;

int VARNPlaylistUpdateSongs(const char *library, uid_t uid, const char *playlistId, int start,
                            int length, const PLAYLIST_REC *songs) noexcept {
    if (IsBadRow(library, uid, playlistId)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        return ReplaceInRow(library, uid, playlistId, {start, length, songs, Duplicates::kKept});
    });
}

int VARNPlaylistUpdateSongsList(const char *library, uid_t uid, const char *playlistId, int start,
                                int length, const PLAYLIST_REC *songs,
                                const char *skipDuplicate) noexcept {
    if (IsBadRow(library, uid, playlistId)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const bool refused = skipDuplicate != nullptr && std::string_view(skipDuplicate) == "false";
        return ReplaceInRow(
            library, uid, playlistId,
            {start, length, songs, refused ? Duplicates::kRefused : Duplicates::kLeftOut});
    });
}

int VARNPlaylistAppendSongs(const char *library, uid_t uid, const char *playlistId,
                            const PLAYLIST_REC *songs) noexcept {
    if (IsBadRow(library, uid, playlistId)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        return ReplaceInRow(library, uid, playlistId, {kEnd, 0, songs, Duplicates::kKept});
    });
}

int VARNPlaylistRemoveSongs(const char *library, uid_t uid, const char *playlistId,
                            const char *selection) noexcept {
    if (!NonEmptyStr(selection)) {
        LOG_ERROR_OLD(kSource, "There is no selected item.");
        return -1;
    }
    if (IsBadRow(library, uid, playlistId)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] { return RemoveSongs(library, uid, playlistId, selection); });
}

int VARNPlaylistRemoveMissing(const char *library, uid_t uid, const char *playlistId) noexcept {
    if (IsBadRow(library, uid, playlistId)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const std::string path = PathOf(library, uid, playlistId);
        return path.empty() ? -1 : RemoveMissing(uid, playlistId, path);
    });
}

int VARNPersonalPlaylistUpdateSongs(uid_t uid, const char *playlistPath, int start, int length,
                                    const PLAYLIST_REC *songs) noexcept {
    if (IsBadFile(uid, playlistPath)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        return Replace(uid, playlistPath, {start, length, songs, Duplicates::kKept});
    });
}

int VARNPersonalPlaylistAppendSongs(uid_t uid, const char *playlistPath, const PLAYLIST_REC *songs,
                                    int skipDuplicates) noexcept {
    if (IsBadFile(uid, playlistPath)) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const Duplicates duplicates =
            skipDuplicates != 0 ? Duplicates::kLeftOut : Duplicates::kKept;
        return Replace(uid, playlistPath, {kEnd, 0, songs, duplicates});
    });
}

int VARNPersonalPlaylistRemoveMissing(uid_t uid, const char *playlistPath) noexcept {
    if (IsBadFile(uid, playlistPath)) {
        return -1;
    }
    return Guarded(kSource, -1,
                   [&] { return RemoveMissing(uid, playlistPath, std::string(playlistPath)); });
}

int VARNPersonalPlaylistRemoveSongByPath(uid_t uid, const char *playlistPath,
                                         const char *songPath) noexcept {
    if (IsBadFile(uid, playlistPath)) {
        return -1;
    }
    if (songPath == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return RemoveByPath(uid, playlistPath, songPath); });
}
