// Questions about single songs of playlists.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "musiclib/query.h"
#include "playlist/parse.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/remote_path.h"
#include "support/virtual_name.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/run_as.h"
#include "varn/sql.h"

namespace Tonvale::playlist {

namespace {

std::optional<std::string> SongCondition(const char *songPath) {
    std::string file(std::strlen(songPath) + 1, '\0');
    int track = 0;
    if (IsVirtualPath(songPath, file.data(), file.size(), &track)) {
        return varn::Sql("path = '@VARN:VAR' AND is_virtual = 'TRUE' AND track = @VARN:INT",
                         file.c_str(), track);
    }
    return varn::Sql("path like '@VARN:LVAR'", songPath);
}

int GetOne(uid_t uid, const char *songPath, VARN_MEDIA_INFO &record) {
    if (!varn::UserByUid(uid)) {
        LOG_ERROR(kSource, "Fail to get user by id [%d].", static_cast<int>(uid));
        return -1;
    }
    const std::optional<std::string> condition = SongCondition(songPath);
    if (!condition) {
        LOG_ERROR(kSource, "Failed to VLIBCStrGet() [0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrFile(),
                  VLIBCErrLine());
        return -1;
    }
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
    const Tonvale::MediaHandle rows(AudioInfoDBOpen(library.c_str(), uid, VARN_TABLE_MUSIC, "*",
                                                    condition->c_str(), nullptr, nullptr, 0, 0, 0));
    return rows ? MediaInfoDBGet(rows.get(), &record) : -1;
}

// The playlist's path with links resolved, which may lead through folders that only root may enter;
// "" with a log line.
std::string RealPathAsRoot(const char *path) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kBackOrGoOn, kSource);
    if (!root) {
        LOG_ERROR(kSource, "Failed to run as root.");
        return "";
    }
    struct stat info {};
    if (stat(path, &info) != 0) {
        LOG_ERROR(kSource, "Failed to get playlist path.");
        return "";
    }
    return ResolvedPath(path);
}

// Only entries of the song's own name can be the song: one of them is looked up for all.
void KeepOne(std::string_view name, Entries &entries) {
    varn::StringList kept(VLIBCSzListAlloc(0));
    PVLIBSZLIST list = kept.get();
    const bool found = VLIBCSzListFind(entries.candidates.get(), name.data()) >= 0;
    if (found && VLIBCSzListPush(&list, name.data()) < 0) {
        throw std::bad_alloc();
    }
    entries.candidates = std::move(kept);
    entries.remote.reset();
}

int CheckSong(uid_t uid, const char *playlistPath, const char *songPath) {
    const std::string path = RealPathAsRoot(playlistPath);
    Entries entries;
    if (path.empty() || !ReadEntries(path, entries)) {
        return -1;
    }
    KeepOne(songPath, entries);
    support::SongList songs(kSource);
    if (!LookUp(std::move(entries), {uid, nullptr, 0, 0, "*", false}, songs)) {
        return -1;
    }
    const bool isVirtual = IsVirtualPath(songPath, nullptr, 0, nullptr);
    for (const PLAYLIST_REC *entry = songs.Head(); entry != nullptr; entry = entry->next) {
        if (IsVirtualMusic(&entry->info) == isVirtual &&
            support::NameInPlaylist(entry->info) == songPath) {
            return 0;
        }
    }
    return -1;
}

bool HasPersonalLibrary(uid_t uid) {
    const varn::User user = varn::UserByUid(uid);
    return user && IsPersonalLibraryEnabled() && IsPersonalLibEnabled(user->szName);
}

// A song of a personal library is taken as the playlist's look-up found it: it is its owner's.
bool MustBeLookedUp(const std::string &name, uid_t uid) {
    return !support::IsRemotePath(name) &&
           (IsVirtualPath(name.c_str(), nullptr, 0, nullptr) || !HasPersonalLibrary(uid) ||
            !IsPersonalLibraryPath(name.c_str()));
}

int GetFirst(const char *path, uid_t uid, VARN_MEDIA_INFO *recordOut, char *out, size_t outSize) {
    const varn::OwnedSongs first(
        VARNPlaylistParseByPath(uid, path, nullptr, nullptr, 0, 1, "*", 0));
    if (!first) {
        LOG_ERROR(kSource, "Parse playlist: %s return NULL.", path);
        return -1;
    }
    const std::string name = support::NameInPlaylist(first->info);
    if (out != nullptr && outSize > 0) {
        std::snprintf(out, outSize, "%s", name.c_str());
    }
    if (MustBeLookedUp(name, uid) && GetOne(uid, name.c_str(), first->info) != 0) {
        return -1;
    }
    if (recordOut != nullptr) {
        *recordOut = first->info;
    }
    return 0;
}

}  // namespace

}  // namespace Tonvale::playlist

int VARNPlaylistGetOneByPath(uid_t uid, const char *songPath, VARN_MEDIA_INFO *recordOut) noexcept {
    using namespace Tonvale::playlist;
    if (songPath == nullptr || recordOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1,
                                     [&] { return GetOne(uid, songPath, *recordOut); });
}

int VARNPlaylistCheckSong(uid_t uid, const char *playlistPath, const char *songPath) noexcept {
    using namespace Tonvale::playlist;
    if (playlistPath == nullptr || songPath == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1,
                                     [&] { return CheckSong(uid, playlistPath, songPath); });
}

int VARNPlaylistGetFirstSong(const char *playlistPath, uid_t uid, VARN_MEDIA_INFO *recordOut,
                             char *out, size_t outSize) noexcept {
    using namespace Tonvale::playlist;
    if (playlistPath == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(
        kSource, -1, [&] { return GetFirst(playlistPath, uid, recordOut, out, outSize); });
}
