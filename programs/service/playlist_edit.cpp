#include "playlist_edit.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <string_view>
#include <utility>

#include "browsed_song.h"
#include "failure.h"
#include "link_hooks.h"
#include "locks.h"
#include "playlist_place.h"
#include "playlists.h"
#include "songs.h"
#include "text.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/number.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kLongestUrl = 2000;

void Report(int result, Reason reason, const std::string &path) {
    if (result != 0) {
        throw Failure(reason, path);
    }
}

bool IsUrl(const std::string &text) {
    return text.starts_with("http://") || text.starts_with("https://");
}

void SetPath(const std::string &path, VARN_MEDIA_INFO &record) {
    CopyCut(path, record.path);
}

// A new entry at the end of a list, zeroed.
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

// A playlist is one text: what is not UTF-8 must not get into it.
void CheckUtf8(const std::string &text) {
    if (!IsUtf8(text)) {
        throw Failure(Reason::kSongNotUtf8, text);
    }
}

void FillSong(const Collection &collection, const std::string &name, VARN_MEDIA_INFO &record) {
    if (varn::IsNumber(name)) {
        PLAYLIST_REC *found = nullptr;
        const int count = VARNMusicListGetByID(collection.uid, name.c_str(), &found);
        const SongRecords owned(found);
        if (count <= 0) {
            throw Failure(Reason::kNoSuchSong, name);
        }
        record = found->info;
        return;
    }
    CheckUtf8(name);
    if (IsUrl(name)) {
        SetMediaPathTitle(name.c_str(), &record);
        return;
    }
    std::error_code error;
    const std::string path = std::filesystem::absolute(name, error).lexically_normal().string();
    CheckUtf8(path);
    if (const auto song = FindNamedSong(collection.uid, path)) {
        record = *song;
        return;
    }
    if (!std::filesystem::is_regular_file(path, error)) {
        throw Failure(Reason::kNotASong, name);
    }
    SetPath(path, record);
}

// Takes the entries at some positions out of a list.
void RemoveEntries(SongRecords &songs, const std::set<int> &positions) {
    PLAYLIST_REC *list = songs.release();
    PLAYLIST_REC **link = &list;
    for (int position = 0; *link != nullptr; ++position) {
        if (positions.contains(position)) {
            const SongRecords removed(*link);
            *link = std::exchange(removed->next, nullptr);
        } else {
            link = &(*link)->next;
        }
    }
    songs.reset(list);
}

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
    if (!IsUrl(url) || url.size() > kLongestUrl || url.find_first_of(" <>") != url.npos ||
        !IsPlain(url + title + artist + album)) {
        throw Failure(Reason::kNotASongId, id);
    }
    for (const std::string &text : {url, title, artist, album}) {
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

// Makes an empty playlist, which goes again unless it is kept: what a failure leaves would refuse the
// next try. Only a file of its own making goes.
class NewList {
  public:
    NewList(const PlaylistFolder &folder, const std::string &name)
        : folder_(folder), name_(name), file_(folder.Make(name)) {}
    ~NewList() {
        try {
            if (!kept_) {
                folder_.Remove(name_);
            }
        } catch (const Failure &failure) {
            syslog(LOG_ERR, "An empty playlist is left: %s", failure.what());
        }
    }
    NewList(const NewList &) = delete;
    NewList &operator=(const NewList &) = delete;

    std::string Path() const { return varn::DescriptorPath(file_.Get()); }
    void Keep() { kept_ = true; }

  private:
    const PlaylistFolder &folder_;
    const std::string &name_;
    varn::UniqueFd file_;
    bool kept_ = false;
};

// A playlist whose row and file nobody else changes while this object lives, as it is called now.
class LockedList {
  public:
    LockedList(const Collection &collection, const Playlist &asked)
        : lock_(collection, Lock::Kind::kWrite),
          playlist_(PlaylistOfKey(collection, KeyOf(collection, asked))) {}

    const Playlist &Get() const { return playlist_; }

  private:
    PlaylistsLock lock_;
    Playlist playlist_;
};

// Has the library write a playlist anew, by its descriptor. What a failure in the middle, such as a
// full disk, leaves of it is replaced by what was there before.
template <typename Write>
void Change(const Collection &collection, const Playlist &playlist, const Write &write) {
    const HeldPlaylist list(collection, playlist.path, HeldPlaylist::Use::kChange);
    const std::string before = list.Contents();
    const int result = write(list.Path().c_str());
    if (result != 0) {
        list.PutBack(before);
    }
    Report(result, Reason::kPlaylistNotWritten, playlist.path);
}

SongRecords Read(const Collection &collection, const Playlist &playlist, int *countOut = nullptr) {
    int count = -1;
    const HeldPlaylist list(collection, playlist.path);
    SongRecords songs(VARNPlaylistParseByPath(collection.uid, list.Path().c_str(), nullptr, &count,
                                              0, 0, "*", 0));
    if (count < 0) {
        throw Failure(Reason::kPlaylistNotRead, playlist.path);
    }
    if (countOut != nullptr) {
        *countOut = count;
    }
    return songs;
}

// Entries that the library would leave out as it writes. Those from `start` on, `length` of them,
// are to go anyway.
void CheckEntries(const PLAYLIST_REC *songs, int64_t start = 0, int64_t length = 0) {
    for (int64_t position = 0; songs != nullptr; songs = songs->next, ++position) {
        const std::string path = songs->info.path;
        const bool goes = position >= start && position < start + length;
        if (!goes && !path.starts_with('/') && !IsUrl(path)) {
            throw Failure(Reason::kUnwritableEntry, path);
        }
    }
}

}  // namespace

SongRecords FindSongs(const Collection &collection, const std::vector<std::string> &names) {
    SongRecords songs;
    PLAYLIST_REC *last = nullptr;
    for (const std::string &name : names) {
        FillSong(collection, name, AddEntry(songs, last).info);
    }
    return songs;
}

SongRecords SongsOfIds(const Collection &collection, const std::vector<std::string> &ids) {
    std::vector<std::string> known;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(known),
                 [](const std::string &id) { return ParseSongId(id).has_value(); });
    const auto found = ReadSongs(collection.uid, known);
    SongRecords songs;
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

Playlist CreatePlaylist(const Collection &collection, const std::string &name,
                        const std::string &format, const PLAYLIST_REC *songs) {
    if (collection.isFolder && format != "m3u") {
        throw Failure(Reason::kNotAPersonalFormat, format);
    }
    CheckName(name);
    const PlaylistsLock lock(collection, Lock::Kind::kWrite);
    const PlaylistFolder folder = PlaylistFolder::ForNew(collection);
    folder.CheckIsFree(name);
    const std::string fileName = name + "." + format;
    const std::string path = folder.Path() / fileName;
    NewList file(folder, fileName);
    Report(VARNWriteMusicPlaylist(songs, file.Path().c_str()), Reason::kPlaylistNotWritten, path);
    if (collection.isFolder) {
        file.Keep();
        return {"0", name, path, ""};
    }
    VARN_MEDIA_INFO row = {};
    SetPath(path, row);
    CopyCut(name, row.title);
    std::string_view("playlists").copy(row.album, sizeof row.album - 1);
    const int saved = collection.personal ? VARNPlaylistDBUpdate(collection.Library(),
                                                                 collection.uid, &row, nullptr)
                                          : VARNPlaylistDBSave(&row);
    Report(saved, Reason::kPlaylistNotStored, path);
    file.Keep();
    std::array<char, 16> id{};
    Report(VARNPlaylistIDGet(path.c_str(), collection.uid, id.data(), id.size()),
           Reason::kPlaylistNotStored, path);
    return {id.data(), name, path, row.album};
}

void ReplaceSongs(const Collection &collection, const Playlist &playlist, int start, int length,
                  const PLAYLIST_REC *songs) {
    const LockedList list(collection, playlist);
    int count = 0;
    SongRecords before = Read(collection, list.Get(), &count);
    if (start > count) {
        throw Failure(Reason::kNoSuchPosition, std::to_string(start));
    }
    CheckEntries(before.get(), start, length < 0 ? count : length);
    before.reset();
    Change(collection, list.Get(), [&](const char *path) {
        return VARNPersonalPlaylistUpdateSongs(collection.uid, path, start, length, songs);
    });
}

void AppendSongs(const Collection &collection, const Playlist &playlist, const PLAYLIST_REC *songs,
                 bool skipDuplicates) {
    const LockedList list(collection, playlist);
    CheckEntries(Read(collection, list.Get()).get());
    Change(collection, list.Get(), [&](const char *path) {
        return VARNPersonalPlaylistAppendSongs(collection.uid, path, songs, skipDuplicates ? 1 : 0);
    });
}

void RemovePositions(const Collection &collection, const Playlist &playlist,
                     const std::vector<int> &positions) {
    const LockedList list(collection, playlist);
    int count = 0;
    SongRecords songs = Read(collection, list.Get(), &count);
    const auto last = std::max_element(positions.begin(), positions.end());
    if (last != positions.end() && *last >= count) {
        throw Failure(Reason::kNoSuchPosition, std::to_string(*last));
    }
    RemoveEntries(songs, std::set<int>(positions.begin(), positions.end()));
    CheckEntries(songs.get());
    Change(collection, list.Get(), [&](const char *path) {
        return VARNPersonalPlaylistUpdateSongs(collection.uid, path, 0, -1, songs.get());
    });
}

void RemoveMissing(const Collection &collection, const Playlist &playlist) {
    const LockedList list(collection, playlist);
    if (!Read(collection, list.Get())) {
        return;  // which the library takes for a list that cannot be read
    }
    Change(collection, list.Get(), [&](const char *path) {
        return VARNPersonalPlaylistRemoveMissing(collection.uid, path);
    });
}

namespace {

int RenameRow(const Collection &collection, const Playlist &playlist, const Playlist &renamed) {
    VARN_MEDIA_INFO row = {};
    row.id = static_cast<uint32_t>(std::stoul(playlist.id));
    SetPath(renamed.path, row);
    CopyCut(renamed.title, row.title);
    CopyCut(renamed.album, row.album);
    return VARNPlaylistDBUpdate(collection.Library(), collection.uid, &row, playlist.path.c_str());
}

// A name that nobody else has: what a process that was killed has left stays.
std::string AsideName(const Playlist &playlist) {
    std::random_device random;
    return ".deleted-" + playlist.id + "-" + std::to_string(random()) + std::to_string(random());
}

// Row and file go together: the file gets out of the way first, and comes back for a row that stays.
void DeleteRowAndFile(const Collection &collection, const Playlist &playlist) {
    namespace fs = std::filesystem;
    const fs::path path = playlist.path;
    const std::string name = path.filename();
    const std::string aside = AsideName(playlist);
    std::optional<PlaylistFolder> folder;
    if (!PlaylistFolder::IsGone(path.parent_path())) {
        folder.emplace(collection, path.parent_path());
    }
    const bool isThere = folder && folder->Has(name);
    if (isThere) {
        folder->Move(name, aside, Reason::kPlaylistNotDeleted);
    }
    const int deleted = VARNPlaylistDBDelete(collection.Library(), playlist.id.c_str());
    if (deleted != 0 && isThere) {
        folder->Move(aside, name, Reason::kPlaylistNotRenamed);
    }
    Report(deleted, Reason::kPlaylistNotDeleted, playlist.path);
    if (isThere) {
        folder->Remove(aside);
    }
}

}  // namespace

Playlist RenamePlaylist(const Collection &collection, const Playlist &asked,
                        const std::string &name) {
    CheckName(name);
    const LockedList list(collection, asked);
    const Playlist &playlist = list.Get();
    namespace fs = std::filesystem;
    const fs::path from = playlist.path;
    const fs::path to = from.parent_path() / (name + from.extension().string());
    const PlaylistFolder folder(collection, from.parent_path());
    folder.CheckIsFree(name);
    folder.Move(from.filename(), to.filename(), Reason::kPlaylistNotRenamed);
    const Playlist renamed = {playlist.id, name, to, playlist.album};
    if (!collection.isFolder) {
        const int updated = RenameRow(collection, playlist, renamed);
        if (updated != 0) {
            // Where the library still has it.
            folder.Move(to.filename(), from.filename(), Reason::kPlaylistNotRenamed);
        }
        Report(updated, Reason::kPlaylistNotStored, to);
    }
    LinksFollowRename(AsAny(collection, renamed).id, to.string(), from.string());
    return renamed;
}

void DeletePlaylist(const Collection &collection, const Playlist &asked) {
    const LockedList list(collection, asked);
    const Playlist &playlist = list.Get();
    if (collection.isFolder) {
        const std::filesystem::path path = playlist.path;
        PlaylistFolder(collection, path.parent_path()).Remove(path.filename());
    } else {
        DeleteRowAndFile(collection, playlist);
    }
    LinksFollowDeletion(playlist.path);
}

}  // namespace tonvale_service
