#include "service/playlists/playlist_edit.h"

#include <strings.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string_view>
#include <utility>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/playlists/playlist_place.h"
#include "service/playlists/playlist_songs.h"
#include "service/playlists/playlists.h"
#include "service/playlists/playlists_lock.h"
#include "service/sharing/link_hooks.h"
#include "tonvale/library.h"
#include "tonvale/media.h"
#include "tonvale/webapi.h"
#include "varn/number.h"

namespace tonvale_service {

namespace {

void Report(int result, Reason reason, const std::string &path) {
    if (result != 0) {
        throw Failure(reason, path);
    }
}

// The link of a list that leads to a position, or to its end.
PLAYLIST_REC **LinkAt(PLAYLIST_REC *&list, int64_t position) {
    PLAYLIST_REC **link = &list;
    for (; position > 0 && *link != nullptr; --position) {
        link = &(*link)->next;
    }
    return link;
}

// Puts songs in the place of some entries. Below 0 `length` means to the end.
void Splice(varn::OwnedSongs &list, int64_t start, int64_t length, varn::OwnedSongs songs) {
    constexpr int64_t kEnd = std::numeric_limits<int64_t>::max();
    PLAYLIST_REC *entries = list.release();
    PLAYLIST_REC **const at = LinkAt(entries, start);
    PLAYLIST_REC *rest = *at;
    PLAYLIST_REC **const end = LinkAt(rest, length < 0 ? kEnd : length);
    PLAYLIST_REC *const staying = std::exchange(*end, nullptr);
    const varn::OwnedSongs removed(rest);
    *at = songs.release();
    *LinkAt(*at, kEnd) = staying;
    list.reset(entries);
}

// Takes the entries at some positions out of a list.
void RemoveEntries(varn::OwnedSongs &songs, const std::set<int> &positions) {
    PLAYLIST_REC *list = songs.release();
    PLAYLIST_REC **link = &list;
    for (int position = 0; *link != nullptr; ++position) {
        if (positions.contains(position)) {
            const varn::OwnedSongs removed(*link);
            *link = std::exchange(removed->next, nullptr);
        } else {
            link = &(*link)->next;
        }
    }
    songs.reset(list);
}

// Makes an empty playlist, which goes again unless it is kept: what a failure leaves would refuse
// the next try. Only a file of its own making goes.
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
          playlist_(PlaylistOfKey(collection, KeyOf(collection, asked))) {
        playlist_.state = asked.state;
    }

    const Playlist &Get() const { return playlist_; }

  private:
    PlaylistsLock lock_;
    Playlist playlist_;
};

// Entries that the library would leave out as it writes.
void CheckEntries(const PLAYLIST_REC *songs) {
    for (; songs != nullptr; songs = songs->next) {
        const std::string path = songs->info.path;
        if (!path.starts_with('/') && !IsHttpUrl(path)) {
            throw Failure(Reason::kUnwritableEntry, path);
        }
    }
}

// The positions of missing songs: entries that the library does not have for anybody. Addresses are
// never missing, nor is what lies on a volume that somebody can unplug.
std::set<int> MissingPositions(const PLAYLIST_REC *songs) {
    std::map<int, std::string> unknown;
    for (int position = 0; songs != nullptr; songs = songs->next, ++position) {
        if (songs->info.id == 0 && !IsHttpUrl(songs->info.path)) {
            unknown.emplace(position, songs->info.path);
        }
    }
    std::vector<std::string> names;
    for (const auto &[position, name] : unknown) {
        names.push_back(name);
    }
    const std::set<std::string> known = NamesInLibrary(names);
    std::map<std::string, bool> isOnUsb;  // by folder: the volumes are asked for each answer
    std::set<int> missing;
    for (const auto &[position, name] : unknown) {
        if (known.contains(name)) {
            continue;
        }
        const std::string folder = name.substr(0, name.rfind('/') + 1);
        const auto [volume, isNew] = isOnUsb.try_emplace(folder, false);
        if (isNew) {
            volume->second = VARNAudioIsUSBVolume(folder.c_str()) == 1;
        }
        if (!volume->second) {
            missing.insert(position);
        }
    }
    return missing;
}

// The library's writer would leave a list in any other format empty.
void CheckFormat(const std::string &path) {
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(path);
    const bool isWritten = std::any_of(
        WrittenFormats().begin(), WrittenFormats().end(), [&](const std::string &format) {
            return strcasecmp(format.c_str(), extension.c_str()) == 0;
        });
    if (!isWritten) {
        throw Failure(Reason::kPlaylistNotWritten, path);
    }
}

// Reads the entries of a playlist that is held open.
varn::OwnedSongs Read(uid_t uid, const HeldPlaylist &list, const std::string &path) {
    int count = -1;
    varn::OwnedSongs songs(
        VARNPlaylistParseByPath(uid, list.Path().c_str(), nullptr, &count, 0, 0, "*", 0));
    return count >= 0 ? std::move(songs) : throw Failure(Reason::kPlaylistNotRead, path);
}

// Has a playlist written anew that is held open, by its descriptor. What a failure in the middle
// leaves of it is replaced by what was there before.
template <typename Write>
void Rewrite(const HeldPlaylist &list, const Write &write) {
    KeptCopy before(list);
    try {
        write(list.Path().c_str());
    } catch (...) {
        before.PutBack();
        throw;
    }
}

// Changes the entries of a playlist, which are read once, and returns its new state. What
// `afterwards` throws takes the change back.
template <typename Edit, typename Afterwards>
std::string Change(const Collection &collection, const Playlist &playlist, const Edit &edit,
                   const Afterwards &afterwards) {
    CheckFormat(playlist.path);
    const HeldPlaylist list(collection, playlist.path, HeldPlaylist::Use::kChange);
    varn::OwnedSongs songs = Read(collection.uid, list, playlist.path);
    // After the songs: another program, which takes no lock, could change the list between.
    if (!playlist.state.empty() && playlist.state != list.State()) {
        throw Failure(Reason::kPlaylistChanged, playlist.path);
    }
    edit(songs);
    CheckEntries(songs.get());
    std::string state;
    Rewrite(list, [&](const char *path) {
        Report(VARNWriteMusicPlaylist(songs.get(), path), Reason::kPlaylistNotWritten,
               playlist.path);
        state = list.State();
        afterwards();
    });
    return state;
}

template <typename Edit>
std::string Change(const Collection &collection, const Playlist &asked, const Edit &edit) {
    const LockedList locked(collection, asked);
    return Change(collection, locked.Get(), edit, [] {});
}

void Remove(const std::vector<int> &positions, varn::OwnedSongs &list) {
    const std::set<int> removed(positions.begin(), positions.end());
    if (!removed.empty() && *removed.rbegin() >= VARNPlaylistRecCount(list.get())) {
        throw Failure(Reason::kNoSuchPosition, std::to_string(*removed.rbegin()));
    }
    RemoveEntries(list, removed);
}

}  // namespace

const std::vector<std::string> &WrittenFormats() {
    static const std::vector<std::string> formats = {"m3u", "pls", "wpl"};
    return formats;
}

std::set<std::string> SongNames(const Collection &collection, Playlist playlist) {
    const HeldPlaylist list = HoldToRead(collection, playlist);
    const varn::OwnedSongs songs = Read(collection.uid, list, playlist.path);
    std::set<std::string> names;
    for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        // The name of a track that the library does not have stays in the entry's path.
        if (!IsVirtualPath(song->info.path, nullptr, 0, nullptr)) {
            names.insert(NameInPlaylist(song->info));
        }
    }
    return names;
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
    CopyCut(path, row.path);
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

std::string ReplaceSongs(const Collection &collection, const Playlist &playlist, int start,
                         int length, varn::OwnedSongs songs) {
    return Change(collection, playlist, [&](varn::OwnedSongs &list) {
        if (start > VARNPlaylistRecCount(list.get())) {
            throw Failure(Reason::kNoSuchPosition, std::to_string(start));
        }
        Splice(list, start, length, std::move(songs));
    });
}

std::string AppendSongs(const Collection &collection, const Playlist &playlist,
                        varn::OwnedSongs songs, bool skipDuplicates) {
    return Change(collection, playlist, [&](varn::OwnedSongs &list) {
        if (skipDuplicates) {
            PLAYLIST_REC *added = songs.release();
            const int skipped = VARNPlaylistRemoveDuplicateSongs(list.get(), &added, 0, 0);
            songs.reset(added);
            Report(skipped, Reason::kPlaylistNotWritten, playlist.path);
        }
        Splice(list, VARNPlaylistRecCount(list.get()), 0, std::move(songs));
    });
}

std::string RemovePositions(const Collection &collection, const Playlist &playlist,
                            const std::vector<int> &positions) {
    return Change(collection, playlist, [&](varn::OwnedSongs &list) { Remove(positions, list); });
}

std::string RemoveMissing(const Collection &collection, const Playlist &playlist) {
    return Change(collection, playlist, [](varn::OwnedSongs &list) {
        RemoveEntries(list, MissingPositions(list.get()));
    });
}

namespace {

int RenameRow(const Collection &collection, const Playlist &playlist, const Playlist &renamed) {
    VARN_MEDIA_INFO row = {};
    row.id = static_cast<uint32_t>(std::stoul(playlist.id));
    CopyCut(renamed.path, row.path);
    CopyCut(renamed.title, row.title);
    CopyCut(renamed.album, row.album);
    return VARNPlaylistDBUpdate(collection.Library(), collection.uid, &row, playlist.path.c_str());
}

// A name that nobody else has: what a process that was killed has left stays.
std::string AsideName(const Playlist &playlist) {
    std::random_device random;
    return ".deleted-" + playlist.id + "-" + std::to_string(random()) + std::to_string(random());
}

// Row and file go together: the file gets out of the way first, and comes back for a row that
// stays.
void DeleteRowAndFile(const Collection &collection, const Playlist &playlist) {
    namespace fs = std::filesystem;
    const fs::path path = playlist.path;
    const std::string name = path.filename();
    const std::string aside = AsideName(playlist);
    std::optional<PlaylistFolder> folder;
    if (!PlaylistFolder::IsGone(path.parent_path())) {
        folder.emplace(collection, path.parent_path());
    }
    const mode_t kind = folder ? folder->KindOf(name) : 0;
    const bool isThere = kind != 0;
    if (isThere && !S_ISREG(kind) && !S_ISLNK(kind)) {
        throw Failure(Reason::kPlaylistNotDeleted, path, S_ISDIR(kind) ? EISDIR : EINVAL);
    }
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

Playlist Renamed(const Collection &collection, const Playlist &playlist, const std::string &name) {
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
    return renamed;
}

void LinksFollow(const Collection &collection, const Playlist &renamed, const Playlist &before) {
    if (renamed.path != before.path) {
        LinksFollowRename(AsAny(collection, renamed).id, renamed.path, before.path);
    }
}

}  // namespace

Playlist RenamePlaylist(const Collection &collection, const Playlist &asked,
                        const std::string &name) {
    CheckName(name);
    const LockedList list(collection, asked);
    Playlist playlist = Renamed(collection, list.Get(), name);
    LinksFollow(collection, playlist, list.Get());
    return playlist;
}

Playlist EditPlaylist(const Collection &collection, const Playlist &asked, PlaylistEdit edit) {
    const LockedList list(collection, asked);
    const Playlist &before = list.Get();
    Playlist playlist = before;
    const bool renames = !edit.name.empty() && edit.name != before.title;
    if (renames) {
        CheckName(edit.name);
        const std::filesystem::path path = before.path;
        PlaylistFolder(collection, path.parent_path()).CheckIsFree(edit.name);
    }
    const auto rename = [&] {
        if (renames) {
            playlist = Renamed(collection, before, edit.name);
        }
    };
    const auto change = [&](varn::OwnedSongs &songs) {
        if (edit.removesAll) {
            songs.reset();
        }
        if (edit.removed) {
            Remove(edit.removed(songs.get()), songs);
        }
        Splice(songs, VARNPlaylistRecCount(songs.get()), 0, std::move(edit.added));
    };
    if (!edit.removed && !edit.removesAll && !edit.added) {
        rename();
    } else {
        Change(collection, before, change, rename);
    }
    LinksFollow(collection, playlist, before);
    return playlist;
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
