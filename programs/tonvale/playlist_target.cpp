#include "playlist_target.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "command.h"
#include "database.h"
#include "tonvale/paths.h"
#include "user.h"
#include "varn/account.h"
#include "varn/host.h"

namespace tonvale_cli {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPathSize = 4096;
constexpr std::size_t kLongestName = 240;  // bytes, with room for an extension
constexpr char kFolder[] = "playlists";

bool IsNumber(const std::string &text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

Playlist Named(const VARN_PLAYLIST &record) {
    return {std::to_string(record.id), record.title, record.path, record.album};
}

// The folder for new playlists of a collection; "" with a message when there is none.
std::string FolderOf(const Collection &collection) {
    if (collection.isFolder) {
        std::array<char, kPathSize> folder{};
        if (VARNUserPreferenceDirGet(collection.user.c_str(), folder.data(), folder.size()) == 0) {
            return std::string(folder.data()) + "/" + kFolder;
        }
    } else if (collection.personal) {
        return AudioFile::GetHomeMusicPath(collection.user) + "/" + kFolder;
    } else {
        const std::vector<std::string> folders = varn::host::IndexedFolders();
        if (!folders.empty()) {
            return folders.front() + "/" + kFolder;
        }
    }
    Complain("there is no folder for playlists; register one with 'tonvale init --music DIR'");
    return "";
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

int Prepare(Collection &collection) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    const std::optional<uid_t> uid = FindUser(collection.user);
    if (!uid) {
        return kUsage;
    }
    collection.uid = *uid;
    collection.isFolder = collection.personal && !IsPersonalLibEnabled(collection.user.c_str());
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    return kDone;
}

std::optional<PlaylistRecords> ListPlaylists(const Collection &collection, int offset, int limit) {
    VARN_PLAYLIST *list = nullptr;
    const int listed =
        collection.isFolder
            ? VARNPersonalPlaylistListAll(collection.user.c_str(), &list)
            : VARNPlaylistListAll(collection.Library(), collection.uid, &list, offset, limit, 0);
    PlaylistRecords records(list);
    if (listed != 0) {
        Complain("the playlists cannot be listed; the lines above tell why");
        return std::nullopt;
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
    PlaylistRecords page(std::exchange(*link, nullptr));
    records.reset(link == &list ? nullptr : list);
    VARN_PLAYLIST *last = page.get();
    for (int i = 1; i < limit && last != nullptr; ++i) {
        last = last->next;
    }
    if (limit > 0 && last != nullptr) {
        const PlaylistRecords rest(std::exchange(last->next, nullptr));
    }
    return page;
}

std::optional<Playlist> FindPlaylist(const Collection &collection, const std::string &name) {
    const auto list = ListPlaylists(collection, 0, 0);
    if (!list) {
        return std::nullopt;
    }
    const std::vector<Playlist> found = Matching(list->get(), name);
    if (found.size() == 1) {
        return found.front();
    }
    const std::string verb = std::string("'tonvale playlists") +
                             (collection.personal ? " --personal" : "") + "' lists them";
    if (found.empty()) {
        Complain("there is no " + std::string(collection.Library()) + " playlist '" + name + "'; " +
                 verb);
    } else {
        Complain("several playlists are called '" + name + "': name one by its id; " + verb);
    }
    return std::nullopt;
}

bool IsGoodName(const std::string &name) {
    const bool good = !name.empty() && name.size() <= kLongestName && name.front() != '.' &&
                      !IsNumber(name) && std::none_of(name.begin(), name.end(), [](char c) {
                          return c == '/' || static_cast<unsigned char>(c) < ' ' || c == '\x7F';
                      });
    if (!good) {
        Complain(
            "a playlist's name has no slash and no control character, does not begin with a dot, "
            "is not a number alone and is not longer than 240 bytes");
    }
    return good;
}

std::optional<std::string> PlaceForPlaylist(const Collection &collection, const std::string &name,
                                            const std::string &format) {
    const std::string folder = IsGoodName(name) ? FolderOf(collection) : "";
    if (folder.empty()) {
        return std::nullopt;
    }
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        Complain("cannot make the folder " + folder + ": " + error.message());
        return std::nullopt;
    }
    const std::string path = folder + "/" + name + "." + format;
    if (fs::exists(fs::symlink_status(path, error))) {
        Complain("there is already a playlist " + path);
        return std::nullopt;
    }
    return path;
}

}  // namespace tonvale_cli
