#include "link_hooks.h"

#include "failure.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/packageconf.h"

namespace tonvale_answers {

namespace {

void Check(bool followed, const char *done) {
    if (!followed) {
        throw Failure(Reason::kFailed, std::string(done) +
                                           ", but not its share links; the lines above tell why, "
                                           "and 'tonvale share' takes links away");
    }
}

}  // namespace

void LinksFollowRename(const std::string &playlistId, const std::string &path,
                       const std::string &oldPath) {
    Tonvale::SharingManager manager;
    Check(manager.HandleNormalPlaylistRename(playlistId, path, oldPath), "the playlist is renamed");
}

void LinksFollowDeletion(const std::string &path) {
    // An identifier that nothing else has: a link that was made before the library was indexed anew
    // may be stored under the one that this playlist has now, and this one's under another.
    const std::string id = "playlist_gone_normal/" + path;
    Tonvale::SharingManager manager;
    manager.UpdatePlsId(id, path);
    Check(manager.HandlePlaylistDelete(id), "the playlist is deleted");
}

void LinksFollowLostRight(uid_t uid) {
    Tonvale::SharingManager manager;
    Check(manager.HandleDeleteUserPrivilege(uid), "the right is taken away");
}

bool SwitchPersonalLibraries(bool on) {
    if (IsPersonalLibraryEnabled() == on) {
        return false;
    }
    if (VARNAudioConfSet("enable_personal_library", on ? "yes" : "no") != 0) {
        throw Failure(Reason::kFailed, "the package's configuration cannot be written");
    }
    Tonvale::SharingManager manager;
    Check(manager.HandlePersonalLibChange(), "personal libraries are switched");
    return true;
}

}  // namespace tonvale_answers
