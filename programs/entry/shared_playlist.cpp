#include "shared_playlist.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <iterator>
#include <optional>
#include <thread>

#include "refusal.h"
#include "service/base/failure.h"
#include "service/playlists/named_playlist.h"
#include "service/playlists/playlist_place.h"
#include "service/playlists/playlist_songs.h"
#include "service/songs/songs.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "turn.h"
#include "varn/playlistsvc.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// No check of a link takes longer.
constexpr auto kRefusalTime = 300ms;
const steady_clock::time_point kStart = steady_clock::now();

bool IsLinkId(const std::string &id) {
    return id.size() == Tonvale::SharingManager::SHARING_ID_SIZE &&
           std::all_of(id.begin(), id.end(),
                       [](unsigned char c) { return c < 0x80 && std::isalnum(c) != 0; });
}

bool IsSmart(const Tonvale::SharingData &link) {
    return Tonvale::webapi::playlist::PlaylistResult(link.playlist_id).smart;
}

std::string Key(const Tonvale::SharingData &link) {
    return link.playlist_id.substr(link.playlist_id.find('/') + 1);
}

// The playlist, which may have become a link since it was shared.
tonvale_service::HeldPlaylist Held(const Tonvale::SharingData &link) {
    const bool isPersonal = Tonvale::webapi::playlist::PlaylistResult(link.playlist_id).personal ||
                            link.playlist_id == tonvale_service::kSharedSongsId;
    try {
        return {{link.user_name, isPersonal, link.user_id}, link.path};
    } catch (const tonvale_service::Failure &) {
        RefuseLink();
    }
}

// A page of the playlist's entries; `total` below 0 when it cannot be read.
varn::OwnedSongs ReadNormal(const Tonvale::SharingData &link, int offset, int limit, int &total) {
    total = -1;
    const tonvale_service::HeldPlaylist list = Held(link);
    return varn::OwnedSongs(VARNPlaylistParseByPath(link.user_id, list.Path().c_str(), nullptr,
                                                    &total, offset, limit, "*", 0));
}

varn::OwnedSongs ListSmart(const Tonvale::SharingData &link, int offset, int limit, int &total) {
    const std::string rules = VarnAudioUtils::LoadSmartPlsRulesByFilename(link.path, Key(link));
    const std::string library = VARNAudioWebapiUtilsGetBrowseLibraryByUid(link.user_id);
    PLAYLIST_REC *list = nullptr;
    total = -1;
    if (rules.empty() || VARNPlaylistSmartListSongs(link.user_id, &list, nullptr, rules.c_str(),
                                                    &total, offset, limit, library.c_str()) < 0) {
        total = -1;
    }
    return varn::OwnedSongs(list);
}

// The total comes with songs alone: a page after the last one asks for it again.
varn::OwnedSongs ReadSmart(const Tonvale::SharingData &link, int offset, int limit, int &total) {
    varn::OwnedSongs list = ListSmart(link, offset, limit, total);
    if (!list && total >= 0 && offset > 0) {
        ListSmart(link, 0, 1, total);
    }
    return list;
}

// True for what every browser plays as it is. A container that can hold other sound needs the name
// of its codec.
bool PlaysEverywhere(const std::string &path, const std::string &codec) {
    struct Format {
        const char *extension;
        const char *codec;  // null: any
    };
    static constexpr Format kFormats[] = {
        {"aac", nullptr}, {"flac", nullptr}, {"m4a", "aac"},    {"mp3", nullptr}, {"mp4", "aac"},
        {"oga", nullptr}, {"ogg", nullptr},  {"opus", nullptr}, {"wav", nullptr},
    };
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(path);
    return std::any_of(std::begin(kFormats), std::end(kFormats), [&](const Format &format) {
        return strcasecmp(extension.c_str(), format.extension) == 0 &&
               (format.codec == nullptr || codec == format.codec);
    });
}

}  // namespace

void RefuseLink() {
    LeaveWorker();
    GiveTurnBack();
    // A fixed time after the start, or a multiple of it on a busy machine.
    const auto passed = steady_clock::now() - kStart;
    std::this_thread::sleep_until(kStart + (passed / kRefusalTime + 1) * kRefusalTime);
    throw Refusal{Code::kNoSuchItem};
}

SharedPlaylist::SharedPlaylist(const std::string &linkId) {
    link_.id = linkId;
    if (!IsLinkId(linkId) || !manager_.GetSharingRecord(link_, true)) {
        RefuseLink();
    }
}

std::string SharedPlaylist::Name() const {
    if (link_.playlist_id == tonvale_service::kSharedSongsId) {
        return tonvale_service::kSharedSongsName;
    }
    if (IsSmart(link_)) {
        return Key(link_);
    }
    char title[4096] = "";
    return VARNPlaylistTitleGetByPath(link_.path.c_str(), title, sizeof title, link_.user_id) ==
                       0 &&
                   title[0] != '\0'
               ? title
               : VARNAudioWebapiUtilsGetFileName(link_.path, true);
}

std::vector<SharedSong> SharedPlaylist::Shown(PLAYLIST_REC *list) const {
    Tonvale::webapi::WebapiLibrary library(link_.user_id, link_.user_name, "");
    library.addSongTag = true;
    library.addSongAudio = true;
    Tonvale::webapi::HashRating ratings;
    Json::Value tracks(Json::arrayValue);
    library.GetTrackJson(ratings.Get(), list, tracks);
    std::vector<SharedSong> songs;
    for (const Json::Value &track : tracks) {
        const auto id = tonvale_service::ParseSongId(track["id"].asString());
        if (!id) {
            continue;  // an address, or a file that the library does not have
        }
        const Json::Value &tag = track["additional"]["song_tag"];
        const Json::Value &audio = track["additional"]["song_audio"];
        songs.push_back({track["id"].asString(), track["title"].asString(),
                         tag["artist"].asString(), tag["album"].asString(),
                         audio["duration"].asInt(),
                         !id->isVirtual &&
                             PlaysEverywhere(track["path"].asString(), audio["codec"].asString())});
    }
    return songs;
}

SharedPage SharedPlaylist::Songs(int offset, int limit) const {
    int total = -1;
    const varn::OwnedSongs list = IsSmart(link_) ? ReadSmart(link_, offset, limit, total)
                                                 : ReadNormal(link_, offset, limit, total);
    if (total < 0) {
        RefuseLink();
    }
    return {total, Shown(list.get())};
}

void SharedPlaylist::Check(const VARN_MEDIA_INFO &song) {
    std::optional<tonvale_service::HeldPlaylist> list;
    Tonvale::SharingData link = link_;
    if (!IsSmart(link_)) {
        list.emplace(Held(link_));
        link.path = list->Path();
    }
    if (!manager_.CheckSongAllowSharing(link, tonvale_service::NameInPlaylist(song))) {
        RefuseLink();
    }
}

VARN_MEDIA_INFO SharedPlaylist::Song(const std::string &id) {
    try {
        const VARN_MEDIA_INFO song =
            tonvale_service::ReadSong(link_.user_id, id, tonvale_service::Among::kBrowsed);
        Check(song);
        return song;
    } catch (const tonvale_service::Failure &) {
        RefuseLink();
    }
}

SharedSong SharedPlaylist::ReferredSong(const std::string &reference) {
    const std::string name = VARNAudioGetFullPathFromEncSong(reference, link_.user_name);
    const auto found = tonvale_service::ReadNamedSongs(link_.user_id, {name});
    const auto song = found.find(name);
    if (song == found.end()) {
        RefuseLink();
    }
    varn::OwnedSongs entry;
    PLAYLIST_REC *last = nullptr;
    tonvale_service::AddEntry(entry, last).info = song->second;
    Check(entry->info);
    const std::vector<SharedSong> songs = Shown(entry.get());
    if (songs.empty()) {
        RefuseLink();
    }
    return songs.front();
}

}  // namespace tonvale_entry
