#include "service/playlists/named_playlist.h"

#include "service/playlists/playlists.h"

namespace tonvale_service {

NamedPlaylist FindNamedPlaylist(uid_t uid, const std::string &user, const std::string &id) {
    const AnyPlaylist any = FindById(user, uid, id);
    if (any.isSmart) {
        return {any.id, any.name, SmartPlaylistFile(any.collection), true};
    }
    Playlist playlist = any.normal;
    if (!any.collection.isFolder) {
        playlist.id = std::to_string(std::stoul(playlist.id));  // without leading zeros
    }
    return {AsAny(any.collection, playlist).id, any.name, playlist.path, false};
}

}  // namespace tonvale_service
