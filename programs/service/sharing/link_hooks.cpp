#include "service/sharing/link_hooks.h"

#include <optional>
#include <vector>

#include "service/base/failure.h"
#include "service/people/settings.h"
#include "service/playlists/playlist_target.h"
#include "tonvale/settings.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/database.h"
#include "varn/packageconf.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr char kRenamed[] =
    "UPDATE playlist_sharing SET playlist_id = '@VARN:VAR' WHERE playlist_id = '@VARN:VAR' "
    "AND user_id = @VARN:INT";
constexpr char kDeleted[] =
    "DELETE FROM playlist_sharing WHERE playlist_id = '@VARN:VAR' AND user_id = @VARN:INT";

void Check(bool followed) {
    if (!followed) {
        throw Failure(Reason::kLinksNotFollowed);
    }
}

void ChangeLinks(Tonvale::SharingManager &manager, const std::optional<std::string> &statement) {
    DBConnect_tag *database = nullptr;
    Check(statement && manager.GetDBConnection(database) &&
          varn::Execute(database, *statement).has_value());
}

std::vector<uid_t> OwnersOfLinks(Tonvale::SharingManager &manager) {
    DBConnect_tag *database = nullptr;
    const auto rows = manager.GetDBConnection(database)
                          ? varn::Execute(database, "SELECT DISTINCT user_id FROM playlist_sharing")
                          : std::nullopt;
    Check(rows.has_value());
    std::vector<uid_t> owners;
    for (const varn::Row row : *rows) {
        // The column is signed, the number is not.
        owners.push_back(static_cast<uid_t>(row.Number("user_id")));
    }
    return owners;
}

// An administrator needs no entry.
bool IsOnRecord(const Json::Value &users, uid_t uid) {
    if (users.isMember(std::to_string(uid))) {
        return true;
    }
    const std::string name = AccountName(uid);
    return !name.empty() && IsAdministrator(name);
}

}  // namespace

void LinksFollowRename(const std::string &playlistId, const std::string &path,
                       const std::string &oldPath) {
    Tonvale::SharingManager manager;
    Check(manager.HandleNormalPlaylistRename(playlistId, path, oldPath));
}

void LinksFollowDeletion(const std::string &path) {
    // An identifier that nothing else has: a link that was made before the library was indexed anew
    // may be stored under the one that this playlist has now, and this one's under another.
    const std::string id = "playlist_gone_normal/" + path;
    Tonvale::SharingManager manager;
    manager.UpdatePlsId(id, path);
    Check(manager.HandlePlaylistDelete(id));
}

void LinksFollowSmartRename(const Collection &collection, const std::string &playlistId,
                            const std::string &oldPlaylistId) {
    Tonvale::SharingManager manager;
    if (!collection.personal) {
        Check(manager.HandleSmartPlaylistRename(playlistId, oldPlaylistId));
        return;
    }
    ChangeLinks(manager,
                varn::Sql(kRenamed, playlistId, oldPlaylistId, static_cast<int>(collection.uid)));
}

void LinksFollowSmartDeletion(const Collection &collection, const std::string &playlistId) {
    Tonvale::SharingManager manager;
    if (!collection.personal) {
        Check(manager.HandlePlaylistDelete(playlistId));
        return;
    }
    ChangeLinks(manager, varn::Sql(kDeleted, playlistId, static_cast<int>(collection.uid)));
}

void LinksFollowLostRight(uid_t uid) {
    Tonvale::SharingManager manager;
    Check(manager.HandleDeleteUserPrivilege(uid));
}

void LinksFollowLostUsers() {
    const Json::Value users = ReadUsers();
    Tonvale::SharingManager manager;
    std::string left;
    for (const uid_t uid : OwnersOfLinks(manager)) {
        if (!IsOnRecord(users, uid) && !manager.HandleDeleteUserPrivilege(uid)) {
            left += (left.empty() ? "" : ", ") + std::to_string(uid);
        }
    }
    if (!left.empty()) {
        throw Failure(Reason::kLinksLeft, left);
    }
}

void SwitchPersonalLibraries(bool on) {
    const varn::RunAs package(varn::Who::kPackage);
    if (!package) {
        throw Failure(Reason::kAccountNotTaken, varn::kPackageAccount);
    }
    if (IsPersonalLibraryEnabled() != on &&
        VARNAudioConfSet("enable_personal_library", on ? "yes" : "no") != 0) {
        throw Failure(Reason::kFileNotWritten, SystemPath(varn::path::kPackageConf));
    }
    Tonvale::SharingManager manager;
    Check(manager.HandlePersonalLibChange());
}

}  // namespace tonvale_service
