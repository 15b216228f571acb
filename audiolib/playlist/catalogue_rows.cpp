// Rows and files of playlists that come, change and go, and what the indexer is told of it.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <string_view>

#include "playlist/catalogue.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/notify.h"
#include "varn/number.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace Tonvale::playlist {

namespace {

void Notify(const char *pathOrId, const char *oldPath, int code) {
    if (VLIBVRNotify(pathOrId, oldPath, code) != 0) {
        LOG_ERROR(kSource, "Failed to notify the indexer of [%s] (%d) %m", pathOrId, code);
    }
}

int Save(const VARN_MEDIA_INFO &record) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    if (MediaInfoDBSave(VARN_TABLE_PLAYLIST, &record) != 0) {
        LOG_ERROR(kSource, "Failed to insert into playlist table.");
        return -1;
    }
    Notify(record.path, nullptr, VLIB_NOTIFY_CREATED);
    return 0;
}

int Update(std::string_view library, uid_t uid, const VARN_MEDIA_INFO &record,
           const char *oldPath) {
    const int changed = library == kShared
                            ? MediaInfoDBUpdate(VARN_TABLE_PLAYLIST, &record)
                            : PersonalLibraryInfoDBSaveByID(uid, VARN_TABLE_PLAYLIST, &record);
    if (changed != 0) {
        LOG_ERROR(kSource, "Failed to update playlist in DB.");
        return -1;
    }
    if (NonEmptyStr(oldPath)) {
        Notify(record.path, oldPath, VLIB_NOTIFY_MOVED);
    } else {
        Notify(record.path, nullptr, VLIB_NOTIFY_CHANGED);
    }
    return 0;
}

bool IsKnownKind(const char *library) {
    const std::string_view kind(library != nullptr ? library : "");
    return kind == kShared || kind == kPersonal;
}

// The indexer has rights on the database that this process may lack.
bool RunIndexer(const char *playlistId) {
    std::string program = SystemPath(varn::path::kIndexer);
    std::string option = "-d";
    std::string id = playlistId;
    const std::array<char *, 4> argv = {program.data(), option.data(), id.data(), nullptr};
    const int status = VARNExec(program.c_str(), argv.data(), 1);
    if (status != 0) {
        LOG_ERROR(kSource, "Failed to remove playlist [%s] with %s (%d)", playlistId,
                  program.c_str(), status);
    }
    return status == 0;
}

int Delete(std::string_view library, const char *playlistId) {
    const bool isShared = library == kShared;
    const int deleted = isShared ? MediaInfoDBDelete(VARN_TABLE_PLAYLIST, playlistId)
                                 : PersonalLibraryInfoDBDelete(VARN_TABLE_PLAYLIST, playlistId);
    const bool isGone = deleted == 0 || (isShared && RunIndexer(playlistId));
    Notify(playlistId, nullptr, VLIB_NOTIFY_DELETED);
    return isGone ? 0 : -1;
}

// False, with a log line, for a file that is still there.
bool RemoveFile(const char *path) {
    if (unlink(path) == 0 || errno == ENOENT) {
        return true;
    }
    LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
    return false;
}

}  // namespace

}  // namespace Tonvale::playlist

using namespace Tonvale::playlist;
using Tonvale::support::Guarded;

int VARNPlaylistDBSave(const VARN_MEDIA_INFO *record) noexcept {
    if (record == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Save(*record); });
}

int VARNPlaylistDBUpdate(const char *library, uid_t uid, const VARN_MEDIA_INFO *record,
                         const char *oldPath) noexcept {
    if (!IsKnownKind(library) || record == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Update(library, uid, *record, oldPath); });
}

int VARNPlaylistDBDelete(const char *library, const char *playlistId) noexcept {
    if (!IsKnownKind(library) || playlistId == nullptr || !varn::IsNumber(playlistId)) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Delete(library, playlistId); });
}

int VARNPlayListUnlink(const char *library, const char *path, const char *playlistId) noexcept {
    // The file must not go for a row that cannot.
    if (!IsKnownKind(library) || path == nullptr || playlistId == nullptr ||
        !varn::IsNumber(playlistId)) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        const bool removed = RemoveFile(path);
        const int deleted = VARNPlaylistDBDelete(library, playlistId);
        return removed ? deleted : -1;
    });
}
