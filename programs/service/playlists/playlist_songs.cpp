#include "service/playlists/playlist_songs.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <system_error>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "tonvale/webapi.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kLongestUrl = 2000;

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

// A playlist is one text: what is not UTF-8 must not get into it.
void CheckUtf8(const std::string &text) {
    if (!IsUtf8(text)) {
        throw Failure(Reason::kSongNotUtf8, text);
    }
}

// The path that a song is named by on the command line.
std::string PathNamed(const std::string &name) {
    std::error_code error;
    std::string path = std::filesystem::absolute(name, error).lexically_normal().string();
    CheckUtf8(path);
    return path;
}

// The songs that are named by row ids, paths and virtual names, each kind read in one statement.
class KnownSongs {
  public:
    KnownSongs(uid_t uid, const std::vector<std::string> &names) {
        std::vector<std::string> ids;
        std::vector<std::string> paths;
        for (const std::string &name : names) {
            CheckUtf8(name);
            if (!varn::IsNumber(name)) {
                paths.push_back(IsHttpUrl(name) ? name : PathNamed(name));
            } else if (const auto both = SongIds(name); ParseSongId(both.front())) {
                ids.insert(ids.end(), both.begin(), both.end());
            }
        }
        byId_ = ReadSongs(uid, ids, Among::kBrowsed);
        byName_ = ReadNamedSongs(uid, paths);
    }

    void Fill(const std::string &name, VARN_MEDIA_INFO &record) const {
        if (varn::IsNumber(name)) {
            record = WithRow(name);
        } else if (IsHttpUrl(name)) {
            SetMediaPathTitle(name.c_str(), &record);
        } else {
            const std::string path = PathNamed(name);
            if (const auto found = byName_.find(path); found != byName_.end()) {
                record = found->second;
            } else if (std::error_code error; std::filesystem::is_regular_file(path, error)) {
                CopyCut(path, record.path);
            } else {
                throw Failure(Reason::kNotASong, name);
            }
        }
    }

  private:
    const VARN_MEDIA_INFO &WithRow(const std::string &name) const {
        for (const std::string &id : SongIds(name)) {
            const auto song = ParseSongId(id);
            const auto found = song ? byId_.find(*song) : byId_.end();
            if (found != byId_.end()) {
                return found->second;
            }
        }
        throw Failure(Reason::kNoSuchSong, name);
    }

    std::map<SongId, VARN_MEDIA_INFO> byId_;
    std::map<std::string, VARN_MEDIA_INFO> byName_;
};

// Texts of a request go into playlists as they are, where a line break begins an entry of its own
// and a quote ends an address.
bool IsPlain(const std::string &text) {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return c < ' ' || c == '"' || c == '\x7F'; });
}

// A stream or a radio station by its identifier, or by its address alone.
void FillStream(const std::string &id, VARN_MEDIA_INFO &record) {
    std::string title;
    std::string url = id;
    std::string artist;
    std::string album;
    std::string cover;
    int duration = 0;
    if (id.starts_with("remote_")) {
        VARNAudioWebapiUtilsParseRemoteId(id, title, url, artist, album, cover, duration);
    } else if (id.starts_with("radio_")) {
        VARNAudioWebapiUtilsParseRadioId(id, title, url);
    }
    if (!IsStreamUrl(url) || !IsPlain(title + artist + album)) {
        throw Failure(Reason::kNotASongId, id);
    }
    for (const std::string &text : {title, artist, album}) {
        CheckUtf8(text);
    }
    SetMediaPathTitle(url.c_str(), &record);
    if (!title.empty()) {
        CopyCut(title, record.title);
    }
    CopyCut(artist, record.artist);
    CopyCut(album, record.album);
    record.duration = static_cast<float>(duration);
}

}  // namespace

PLAYLIST_REC &AddEntry(varn::OwnedSongs &list, PLAYLIST_REC *&last) {
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
    const varn::OwnedSongs found(list);
    if (!isRead) {
        NoAnswer();
    }
    std::map<std::string, VARN_MEDIA_INFO> songs;
    for (const PLAYLIST_REC *song = found.get(); song != nullptr; song = song->next) {
        songs.emplace(NameInPlaylist(song->info), song->info);
    }
    return songs;
}

std::set<std::string> NamesInLibrary(const std::vector<std::string> &names) {
    const std::string condition = Condition(names);
    std::set<std::string> known;
    if (condition.empty()) {
        return known;
    }
    for (const varn::Row row :
         AskTables("SELECT path, is_virtual, track FROM track WHERE " + condition)) {
        const bool isTrack = *row.Text("is_virtual") == 't';
        known.insert(row.Text("path") + (isTrack ? std::string("_") + row.Text("track") : ""));
    }
    return known;
}

bool IsHttpUrl(const std::string &text) {
    return text.starts_with("http://") || text.starts_with("https://");
}

bool IsStreamUrl(const std::string &text) {
    return IsHttpUrl(text) && text.size() <= kLongestUrl &&
           text.find_first_of(" <>") == text.npos && IsPlain(text) && IsUtf8(text);
}

varn::OwnedSongs FindSongs(uid_t uid, const std::vector<std::string> &names) {
    const KnownSongs known(uid, names);
    varn::OwnedSongs songs;
    PLAYLIST_REC *last = nullptr;
    for (const std::string &name : names) {
        known.Fill(name, AddEntry(songs, last).info);
    }
    return songs;
}

varn::OwnedSongs RecordsOfIds(uid_t uid, const std::vector<std::string> &ids) {
    std::vector<std::string> known;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(known),
                 [](const std::string &id) { return ParseSongId(id).has_value(); });
    const auto found = ReadSongs(uid, known);
    varn::OwnedSongs songs;
    PLAYLIST_REC *last = nullptr;
    for (const std::string &id : ids) {
        VARN_MEDIA_INFO &record = AddEntry(songs, last).info;
        const auto song = ParseSongId(id);
        const auto row = song ? found.find(*song) : found.end();
        if (!song) {
            FillStream(id, record);
        } else if (row == found.end()) {
            throw Failure(Reason::kNoSuchSong, id);
        } else {
            record = row->second;
        }
    }
    return songs;
}

}  // namespace tonvale_service
