#include "playlist_edit.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>

#include "command.h"
#include "database.h"
#include "tonvale/library.h"

namespace tonvale_cli {

namespace {

int Report(int result, const std::string &what) {
    if (result != 0) {
        Complain(what + " failed; the lines above tell why");
    }
    return result == 0 ? kDone : kFailed;
}

bool IsNumber(const std::string &text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsUrl(const std::string &text) {
    return text.starts_with("http://") || text.starts_with("https://");
}

void SetPath(const std::string &path, VARN_MEDIA_INFO &record) {
    path.copy(record.path, sizeof record.path - 1);
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

// False, with a message, for a name that means no song.
bool FillSong(const Collection &collection, const std::string &name, VARN_MEDIA_INFO &record) {
    if (IsNumber(name)) {
        PLAYLIST_REC *found = nullptr;
        const int count = VARNMusicListGetByID(collection.uid, name.c_str(), &found);
        const SongRecords owned(found);
        if (count > 0) {
            record = found->info;
            return true;
        }
        Complain("the user '" + collection.user + "' has no song with the id " + name +
                 "; 'tonvale songs' lists them");
        return false;
    }
    if (IsUrl(name)) {
        SetPath(name, record);
        return true;
    }
    std::error_code error;
    const std::string path = std::filesystem::absolute(name, error).lexically_normal().string();
    if (VARNPlaylistGetOneByPath(collection.uid, path.c_str(), &record) == 0) {
        return true;
    }
    if (!std::filesystem::is_regular_file(path, error)) {
        Complain("'" + name + "' is no song's id, no file and no http or https address");
        return false;
    }
    SetPath(path, record);
    return true;
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

std::string Quoted(const Playlist &playlist) {
    return "the playlist '" + playlist.title + "'";
}

}  // namespace

std::optional<SongRecords> FindSongs(const Collection &collection,
                                     const std::vector<std::string> &names) {
    SongRecords songs;
    PLAYLIST_REC *last = nullptr;
    for (const std::string &name : names) {
        if (!FillSong(collection, name, AddEntry(songs, last).info)) {
            return std::nullopt;
        }
    }
    return songs;
}

int CreatePlaylist(const Collection &collection, const std::string &name, const std::string &format,
                   const PLAYLIST_REC *songs) {
    if (collection.isFolder && format != "m3u") {
        Complain("the user '" + collection.user +
                 "' has no personal library: own playlists are m3u files");
        return kUsage;
    }
    const auto path = PlaceForPlaylist(collection, name, format);
    if (!path) {
        return kUsage;
    }
    if (VARNWriteMusicPlaylist(songs, path->c_str()) != 0) {
        return Report(-1, "writing " + *path);
    }
    if (collection.isFolder) {
        return kDone;
    }
    VARN_MEDIA_INFO row = {};
    SetPath(*path, row);
    name.copy(row.title, sizeof row.title - 1);
    std::string_view("playlists").copy(row.album, sizeof row.album - 1);
    const int saved = collection.personal ? VARNPlaylistDBUpdate(collection.Library(),
                                                                 collection.uid, &row, nullptr)
                                          : VARNPlaylistDBSave(&row);
    return Report(saved, "adding " + *path + " to the library");
}

int ReplaceSongs(const Collection &collection, const Playlist &playlist, int start, int length,
                 const PLAYLIST_REC *songs) {
    const int result = collection.isFolder
                           ? VARNPersonalPlaylistUpdateSongs(collection.uid, playlist.path.c_str(),
                                                             start, length, songs)
                           : VARNPlaylistUpdateSongs(collection.Library(), collection.uid,
                                                     playlist.id.c_str(), start, length, songs);
    return Report(result, "changing " + Quoted(playlist));
}

int AppendSongs(const Collection &collection, const Playlist &playlist, const PLAYLIST_REC *songs,
                bool skipDuplicates) {
    int result = 0;
    if (collection.isFolder) {
        result = VARNPersonalPlaylistAppendSongs(collection.uid, playlist.path.c_str(), songs,
                                                 skipDuplicates ? 1 : 0);
    } else if (!skipDuplicates) {
        result = VARNPlaylistAppendSongs(collection.Library(), collection.uid, playlist.id.c_str(),
                                         songs);
    } else {
        int count = 0;
        const SongRecords first(VARNPlaylistParseByPath(collection.uid, playlist.path.c_str(),
                                                        nullptr, &count, 0, 1, "*", 0));
        result = VARNPlaylistUpdateSongsList(collection.Library(), collection.uid,
                                             playlist.id.c_str(), count, 0, songs, "true");
    }
    return Report(result, "adding to " + Quoted(playlist));
}

int RemovePositions(const Collection &collection, const Playlist &playlist,
                    const std::vector<int> &positions) {
    if (!collection.isFolder) {
        std::string selection;
        for (const int position : positions) {
            selection += (selection.empty() ? "" : ",") + std::to_string(position);
        }
        return Report(VARNPlaylistRemoveSongs(collection.Library(), collection.uid,
                                              playlist.id.c_str(), selection.c_str()),
                      "removing from " + Quoted(playlist));
    }
    int count = -1;
    SongRecords songs(VARNPlaylistParseByPath(collection.uid, playlist.path.c_str(), nullptr,
                                              &count, 0, 0, "*", 0));
    if (count < 0) {
        Complain("the playlist cannot be read; the lines above tell why");
        return kFailed;
    }
    RemoveEntries(songs, std::set<int>(positions.begin(), positions.end()));
    return ReplaceSongs(collection, playlist, 0, -1, songs.get());
}

int RemoveMissing(const Collection &collection, const Playlist &playlist) {
    const int result =
        collection.isFolder
            ? VARNPersonalPlaylistRemoveMissing(collection.uid, playlist.path.c_str())
            : VARNPlaylistRemoveMissing(collection.Library(), collection.uid, playlist.id.c_str());
    return Report(result, "removing from " + Quoted(playlist));
}

int RenamePlaylist(const Collection &collection, const Playlist &playlist,
                   const std::string &name) {
    if (!IsGoodName(name)) {
        return kUsage;
    }
    namespace fs = std::filesystem;
    const fs::path from = playlist.path;
    const fs::path to = from.parent_path() / (name + from.extension().string());
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        Complain("cannot rename " + from.string() + " to " + to.string() + ": " +
                 std::strerror(errno));
        return kFailed;
    }
    if (collection.isFolder) {
        return kDone;
    }
    VARN_MEDIA_INFO row = {};
    row.id = static_cast<uint32_t>(std::stoul(playlist.id));
    SetPath(to.string(), row);
    name.copy(row.title, sizeof row.title - 1);
    playlist.album.copy(row.album, sizeof row.album - 1);
    const int updated =
        VARNPlaylistDBUpdate(collection.Library(), collection.uid, &row, from.c_str());
    // The library still has the old path: there the file has to be.
    if (updated != 0 &&
        renameat2(AT_FDCWD, to.c_str(), AT_FDCWD, from.c_str(), RENAME_NOREPLACE) != 0) {
        Complain("cannot rename " + to.string() + " back to " + from.string() + ": " +
                 std::strerror(errno));
    }
    return Report(updated, "renaming " + Quoted(playlist) + " in the library");
}

int DeletePlaylist(const Collection &collection, const Playlist &playlist) {
    if (!collection.isFolder) {
        return Report(
            VARNPlayListUnlink(collection.Library(), playlist.path.c_str(), playlist.id.c_str()),
            "deleting " + Quoted(playlist));
    }
    if (unlink(playlist.path.c_str()) != 0) {
        Complain("cannot delete " + playlist.path + ": " + std::strerror(errno));
        return kFailed;
    }
    return kDone;
}

}  // namespace tonvale_cli
