#include "sharing/sharing.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/database.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using sharing::kSource;
using support::Guarded;

constexpr char kNormalRenamed[] =
    "UPDATE playlist_sharing SET playlist_id = '@VARN:VAR', path = '@VARN:VAR' WHERE path = "
    "'@VARN:VAR'";
constexpr char kSmartRenamed[] =
    "UPDATE playlist_sharing SET playlist_id = '@VARN:VAR' WHERE playlist_id = '@VARN:VAR'";

bool Given(bool good) {
    if (!good) {
        LOG_ERROR(kSource, "Bad parameter.");
    }
    return good;
}

}  // namespace

bool SharingManager::HandleNormalPlaylistRename(std::string newPlaylistId, std::string newPath,
                                                std::string oldPath) noexcept {
    return Guarded(kSource, false, [&] {
        return Given(!newPlaylistId.empty() && !newPath.empty() && !oldPath.empty()) &&
               Run(varn::Sql(kNormalRenamed, newPlaylistId, newPath, oldPath));
    });
}

bool SharingManager::HandleSmartPlaylistRename(std::string newPlaylistId,
                                               std::string oldPlaylistId) noexcept {
    return Guarded(kSource, false, [&] {
        return Given(!newPlaylistId.empty() && !oldPlaylistId.empty()) &&
               Run(varn::Sql(kSmartRenamed, newPlaylistId, oldPlaylistId));
    });
}

bool SharingManager::HandlePlaylistDelete(std::string playlistId) noexcept {
    return Guarded(kSource, false, [&] {
        return Given(!playlistId.empty()) &&
               Run(varn::Sql("DELETE FROM playlist_sharing WHERE playlist_id = '@VARN:VAR'",
                             playlistId));
    });
}

bool SharingManager::HandlePersonalLibChange() noexcept {
    return Guarded(kSource, false, [&] {
        return Run("DELETE FROM playlist_sharing WHERE playlist_id LIKE "
                   "'playlist_personal_normal/%'")
            .has_value();
    });
}

bool SharingManager::HandleDeleteUserPrivilege(unsigned int uid) noexcept {
    return Guarded(kSource, false, [&] {
        return Given(uid != varn::kNoUser) &&
               Run(varn::Sql("DELETE FROM playlist_sharing WHERE user_id = @VARN:INT",
                             static_cast<int>(uid)));
    });
}

}  // namespace Tonvale
