#include "named_songs.h"

#include <cstdlib>
#include <new>

#include "list.h"
#include "tracks.h"

namespace tonvale_service {

namespace {

struct NamesFreer {
    void operator()(VLIBSZLIST *list) const noexcept { VLIBCSzListFree(list); }
};

// Finds the songs of some names, with others of the same files; "" where no name can be a song's.
std::string Condition(const std::vector<std::string> &names) {
    std::unique_ptr<VLIBSZLIST, NamesFreer> list(VLIBCSzListAlloc(0));
    PVLIBSZLIST pushed = list.get();
    for (const std::string &name : names) {
        if (VLIBCSzListPush(&pushed, name.c_str()) < 0) {
            throw std::bad_alloc();
        }
    }
    int offset = 0;
    int limit = 0;
    std::string files;
    std::string tracks;
    if (VARNAudioWebapiUtilsGetDBQueryByCandidateList(list.get(), &offset, &limit, files, tracks) !=
        0) {
        throw std::bad_alloc();
    }
    return files.empty() || tracks.empty() ? files + tracks : "(" + files + ") OR (" + tracks + ")";
}

}  // namespace

PLAYLIST_REC &AddEntry(SongRecords &list, PLAYLIST_REC *&last) {
    auto *const entry = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
    if (entry == nullptr) {
        throw std::bad_alloc();
    }
    if (last != nullptr) {
        last->next = entry;
    } else {
        list.reset(entry);
    }
    last = entry;
    return *entry;
}

std::string NameInPlaylist(const VARN_MEDIA_INFO &song) {
    const bool isTrack = IsVirtualMusic(&song) && song.virtual_track > 0;
    return song.path + (isTrack ? "_" + std::to_string(song.virtual_track) : "");
}

std::map<std::string, VARN_MEDIA_INFO> ReadNamedSongs(uid_t uid,
                                                      const std::vector<std::string> &names) {
    const std::string condition = Condition(names);
    PLAYLIST_REC *list = nullptr;
    const bool isRead =
        condition.empty() || VARNAudioWebapiUtilsGetPlaylistByDBQuery(
                                 uid, &list, nullptr, condition.c_str(), kSongColumns, 0) >= 0;
    const SongRecords found(list);
    if (!isRead) {
        NoAnswer();
    }
    std::map<std::string, VARN_MEDIA_INFO> songs;
    for (const PLAYLIST_REC *song = found.get(); song != nullptr; song = song->next) {
        songs.emplace(NameInPlaylist(song->info), song->info);
    }
    return songs;
}

}  // namespace tonvale_service
