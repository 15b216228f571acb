#include "service/playlists/playlist_target.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/list.h"
#include "varn/account.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

Playlist Named(const VARN_PLAYLIST &record) {
    return {std::to_string(record.id), record.title, record.path, record.album};
}

// Playlists whose ids or, among those without such an id, whose titles are the given name.
std::vector<Playlist> Matching(const VARN_PLAYLIST *list, const std::string &name) {
    std::vector<Playlist> byId;
    std::vector<Playlist> byTitle;
    for (; list != nullptr; list = list->next) {
        if (list->id != 0 && std::to_string(list->id) == name) {
            byId.push_back(Named(*list));
        } else if (name == list->title) {
            byTitle.push_back(Named(*list));
        }
    }
    return byId.empty() ? byTitle : byId;
}

}  // namespace

void Complete(Collection &collection) {
    collection.isFolder = collection.personal && !IsPersonalLibEnabled(collection.user.c_str());
}

int CountPlaylists(const Collection &collection) {
    const int total = collection.isFolder
                          ? VARNPersonalPlaylistTotalGet(collection.user.c_str())
                          : VARNPlaylistTotalGet(collection.Library(), collection.uid, 0);
    return total >= 0 ? total : throw Failure(Reason::kPlaylistsNotListed);
}

Tonvale::OwnedPlaylists ListPlaylists(const Collection &collection, int offset, int limit) {
    VARN_PLAYLIST *list = nullptr;
    const int listed =
        collection.isFolder
            ? VARNPersonalPlaylistListAll(collection.user.c_str(), &list)
            : VARNPlaylistListAll(collection.Library(), collection.uid, &list, offset, limit, 0);
    Tonvale::OwnedPlaylists records(list);
    if (listed != 0) {
        throw Failure(Reason::kPlaylistsNotListed);
    }
    if (!collection.isFolder) {
        return records;
    }
    // The folder is always read whole.
    VARN_PLAYLIST **link = &list;
    for (int i = 0; i < offset && *link != nullptr; ++i) {
        link = &(*link)->next;
    }
    records.release();
    Tonvale::OwnedPlaylists page(std::exchange(*link, nullptr));
    records.reset(link == &list ? nullptr : list);
    VARN_PLAYLIST *last = page.get();
    for (int i = 1; i < limit && last != nullptr; ++i) {
        last = last->next;
    }
    if (limit > 0 && last != nullptr) {
        const Tonvale::OwnedPlaylists rest(std::exchange(last->next, nullptr));
    }
    return page;
}

Playlist FindPlaylist(const Collection &collection, const std::string &name) {
    const Tonvale::OwnedPlaylists list = ListPlaylists(collection, 0, 0);
    const std::vector<Playlist> found = Matching(list.get(), name);
    if (found.size() == 1) {
        return found.front();
    }
    throw Failure(found.empty() ? Reason::kNoSuchPlaylist : Reason::kAmbiguousPlaylist, name);
}

Playlist PlaylistOfKey(const Collection &collection, const std::string &key) {
    const Failure none(Reason::kNoSuchPlaylist, key);
    if (collection.isFolder) {
        // A key becomes a part of a path: it has to be one of those that the folder has.
        const Tonvale::OwnedPlaylists list = ListPlaylists(collection, 0, 0);
        for (const VARN_PLAYLIST *node = list.get(); node != nullptr; node = node->next) {
            if (key == node->title) {
                return Named(*node);
            }
        }
        throw none;
    }
    int row = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), row);
    if (error != std::errc() || end != key.data() + key.size() || row <= 0) {
        throw none;
    }
    // Cue sheets are rows of the same table.
    const auto condition = varn::Sql("id = @VARN:INT AND path NOT ILIKE '%%.cue'", row);
    const Tonvale::MediaHandle rows(AudioInfoDBOpen(collection.Library(), collection.uid,
                                                    VARN_TABLE_PLAYLIST, "*", condition->c_str(),
                                                    nullptr, nullptr, 0, 1, 0));
    if (!rows) {
        NoAnswer();
    }
    if (rows->rowCount == 0) {
        throw none;
    }
    return {key, FieldOf(rows, 0, "title"), FieldOf(rows, 0, "path"), FieldOf(rows, 0, "album")};
}

std::string KeyOf(const Collection &collection, const Playlist &playlist) {
    return collection.isFolder ? playlist.title : playlist.id;
}

void CheckName(const std::string &name) {
    const bool good = IsUtf8(name) && !name.empty() && name.size() <= kLongestPlaylistName &&
                      name.front() != '.' && !varn::IsNumber(name) &&
                      std::none_of(name.begin(), name.end(), [](char c) {
                          return c == '/' || static_cast<unsigned char>(c) < ' ' || c == '\x7F';
                      });
    if (!good) {
        throw Failure(Reason::kNotAPlaylistName, name);
    }
}

}  // namespace tonvale_service
