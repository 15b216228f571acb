#include "service/playlists/playlists.h"

#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/tracks.h"
#include "service/people/settings.h"
#include "service/playlists/playlist_place.h"
#include "service/playlists/playlist_songs.h"
#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/playlistsvc.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::playlist::PlaylistLibrary;
using Tonvale::webapi::playlist::PlaylistResult;

constexpr int kPlaylistsAtATime = 256;
constexpr int kTracksAtATime = 2000;
constexpr int kMostTracksAtATime = 32000;

// The names of those whose rules are good.
std::vector<std::string> SmartNames(const Collection &collection) {
    const std::string file = SmartPlaylistFile(collection);
    const auto read = varn::ReadSmartPlaylists(file);
    if (!read) {
        throw Failure(Reason::kSmartPlaylistsNotRead, file);
    }
    std::vector<std::string> names;
    for (const varn::SmartPlaylist &playlist : read->playlists) {
        if (!playlist.condition.empty()) {
            names.push_back(playlist.name);
        }
    }
    return names;
}

AnyPlaylist SmartOne(const Collection &collection, const std::string &name) {
    return {PlaylistResult(name, collection.personal).GetId(), collection, true, {}, name};
}

// A part of a section.
std::vector<AnyPlaylist> Part(const PlaylistSection &section, int64_t start, int64_t count) {
    std::vector<AnyPlaylist> list;
    if (section.isSmart) {
        for (int64_t i = start; i < start + count; ++i) {
            list.push_back(
                SmartOne(section.collection, section.names[static_cast<std::size_t>(i)]));
        }
        return list;
    }
    const Tonvale::OwnedPlaylists records =
        ListPlaylists(section.collection, static_cast<int>(start), static_cast<int>(count));
    for (const VARN_PLAYLIST *node = records.get(); node != nullptr; node = node->next) {
        list.push_back(AsAny(section.collection,
                             {std::to_string(node->id), node->title, node->path, node->album}));
    }
    return list;
}

// The same of a normal one, which is read as it is held open.
int ReadNormal(AnyPlaylist &playlist, const PlaylistLibrary &library, int offset, int count,
               Json::Value &tracks) {
    const HeldPlaylist list = HoldToRead(playlist.collection, playlist.normal);
    playlist.name = playlist.normal.title;
    playlist.normal.state =
        list.State();  // before the songs: they are of this state or a later one
    Tonvale::webapi::HashRating ratings;
    if (*ratings.Get() == nullptr) {
        throw std::bad_alloc();
    }
    int total = -1;
    const varn::OwnedSongs songs(VARNPlaylistParseByPath(
        library.uid, list.Path().c_str(), ratings.Get(), &total, offset, count, "*", 0));
    AppendTracks(library, ratings.Get(), songs.get(), tracks);
    return total;
}

// Appends a part of a playlist; how many tracks all of it has.
int Read(AnyPlaylist &playlist, const PlaylistLibrary &library, int64_t offset, int count,
         Json::Value &tracks) {
    const int type = playlist.collection.personal ? PLAYLIST_TYPE_PERSONAL : PLAYLIST_TYPE_SHARED;
    const int total =
        playlist.isSmart
            ? library.GetTrackFromSmartPlaylist(
                  playlist.name, type, VARNAudioWebapiUtilsGetBrowseLibraryByUid(library.uid),
                  static_cast<int>(offset), count, tracks)
            : ReadNormal(playlist, library, static_cast<int>(offset), count, tracks);
    if (total < 0) {
        throw Failure(Reason::kPlaylistNotRead,
                      playlist.isSmart ? playlist.name : playlist.normal.path);
    }
    return total;
}

}  // namespace

// Every part of a page reads the playlist's file anew: the parts grow with what has been read.
int64_t TracksAtATime(int64_t read) {
    constexpr int64_t kShare = 32;
    const int64_t memory = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    const int64_t most = memory / kShare / static_cast<int64_t>(sizeof(PLAYLIST_REC));
    return std::clamp<int64_t>(std::min(read, most), kTracksAtATime, kMostTracksAtATime);
}

std::string SmartPlaylistFile(const Collection &collection) {
    if (!collection.personal) {
        return SystemPath(varn::path::kSmartPlaylists);
    }
    return PreferenceFolder(collection.user) + "/playlists/smart.playlist";
}

AnyPlaylist AsAny(const Collection &collection, const Playlist &playlist) {
    const PlaylistResult id(playlist.title, KeyOf(collection, playlist), collection.personal);
    return {id.GetId(), collection, false, playlist, playlist.title};
}

bool IsPlaylistId(const std::string &text) {
    // The form first: the library would log a title as a wrong identifier.
    if (!text.starts_with("playlist_") || text.find('/') == text.npos) {
        return false;
    }
    const std::string id = PlaylistResult(text).GetId();
    return !id.empty() && id == text;
}

AnyPlaylist FindById(const std::string &user, uid_t uid, const std::string &id) {
    if (!IsPlaylistId(id)) {
        throw Failure(Reason::kNotAPlaylistId, id);
    }
    const PlaylistResult named(id);
    Collection collection{user, named.personal, uid};
    Complete(collection);
    if (!named.smart) {
        return AsAny(collection, PlaylistOfKey(collection, named.path));
    }
    const std::vector<std::string> names = SmartNames(collection);
    if (std::find(names.begin(), names.end(), named.name) == names.end()) {
        throw Failure(Reason::kNoSuchSmartPlaylist, named.name);
    }
    return SmartOne(collection, named.name);
}

Json::Value ObjectOf(const AnyPlaylist &playlist) {
    Json::Value object(Json::objectValue);
    object["id"] = playlist.id;
    object["name"] = playlist.name;
    object["library"] = playlist.collection.Library();
    object["type"] = playlist.isSmart ? "smart" : "normal";
    if (!playlist.isSmart && !playlist.collection.isFolder) {
        object["path"] = AudioFile::GetSharePathByVolPath(playlist.normal.path.c_str());
    }
    return object;
}

PlaylistPage::PlaylistPage(std::vector<PlaylistSection> sections, int offset, int64_t end,
                           int64_t total)
    : Page("playlists", offset, total), sections_(std::move(sections)), place_(offset), end_(end) {}

std::vector<AnyPlaylist> PlaylistPage::Some() {
    int64_t start = place_;
    for (const PlaylistSection &section : sections_) {
        if (start >= section.count) {
            start -= section.count;
            continue;
        }
        const int64_t count =
            std::min({int64_t{section.count} - start, end_ - place_, int64_t{kPlaylistsAtATime}});
        if (count <= 0) {
            break;
        }
        place_ += count;
        std::vector<AnyPlaylist> part = Part(section, start, count);
        if (!part.empty()) {
            return part;
        }
        start = 0;  // they are gone since they were counted
    }
    return {};
}

Json::Value PlaylistPage::Next() {
    Json::Value list(Json::arrayValue);
    for (const AnyPlaylist &playlist : Some()) {
        list.append(ObjectOf(playlist));
    }
    return list;
}

std::unique_ptr<PlaylistPage> ListPlaylists(const std::vector<Collection> &collections, int offset,
                                            int limit) {
    std::vector<PlaylistSection> sections;
    int64_t total = 0;
    for (const Collection &collection : collections) {
        sections.push_back({collection, false, {}, CountPlaylists(collection)});
        std::vector<std::string> names = SmartNames(collection);
        const int count = static_cast<int>(names.size());
        total += sections.back().count + count;
        sections.push_back({collection, true, std::move(names), count});
    }
    return std::make_unique<PlaylistPage>(std::move(sections), offset,
                                          EndOfPage(offset, limit, total), total);
}

PlaylistTracks::PlaylistTracks(const AnyPlaylist &playlist, const PlaylistLibrary &library,
                               int offset, int64_t end, int64_t total, Json::Value first)
    : Page("songs", offset, total),
      playlist_(playlist),
      library_(library),
      place_(int64_t{offset} + first.size()),
      end_(end),
      next_(std::move(first)) {
    Head()["playlist"] = ObjectOf(playlist);
    if (!playlist.isSmart) {
        Head()["state"] = playlist.normal.state;
    }
}

Json::Value PlaylistTracks::Next() {
    Json::Value tracks = std::exchange(next_, Json::Value(Json::arrayValue));
    if (tracks.empty() && place_ < end_) {
        Read(playlist_, library_, place_,
             static_cast<int>(std::min(end_ - place_, TracksAtATime(place_ - Offset()))), tracks);
        place_ += tracks.size();
    }
    AddMarks(library_.uid, marks, tracks);
    return tracks;
}

std::unique_ptr<PlaylistTracks> ListTracks(AnyPlaylist playlist, const PlaylistLibrary &library,
                                           int offset, int limit) {
    Json::Value first(Json::arrayValue);
    const int count = limit > 0 ? std::min(limit, kTracksAtATime) : kTracksAtATime;
    const int total = Read(playlist, library, offset, count, first);
    return std::make_unique<PlaylistTracks>(
        playlist, library, offset, EndOfPage(offset, limit, total), total, std::move(first));
}

}  // namespace tonvale_service
