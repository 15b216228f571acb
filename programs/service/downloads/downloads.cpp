#include "service/downloads/downloads.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>

#include "service/base/failure.h"
#include "service/downloads/zip_stream.h"
#include "service/lists/folders.h"
#include "service/songs/songs.h"

namespace tonvale_service {

namespace {

constexpr char kColumns[] = "userid, path, album";
constexpr std::size_t kSongsAtATime = 256;  // records of 12 KB

std::string NameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// Collects files, each of them once.
class Files {
  public:
    void Add(uid_t owner, const std::string &path, const std::string &name) {
        if (!known_.insert(path).second) {
            return;
        }
        if (files_.size() == kMostDownloads) {
            throw Failure(Reason::kDownloadTooLarge, std::to_string(kMostDownloads));
        }
        files_.push_back({owner, path, names_.Add(name)});
    }
    std::size_t Count() const { return files_.size(); }
    std::vector<DownloadFile> Take() { return std::move(files_); }

  private:
    std::vector<DownloadFile> files_;
    std::set<std::string> known_;
    ZipNames names_;
};

Tonvale::MediaHandle Open(const ListRequest &request, const std::string &condition,
                          const char *order) {
    Tonvale::MediaHandle rows(AudioInfoDBOpen(request.library.c_str(), request.uid,
                                              VARN_TABLE_MUSIC, kColumns, condition.c_str(),
                                              nullptr, order, 0, 0, 0));
    if (!rows) {
        NoAnswer();
    }
    return rows;
}

// A part of a path, whatever is in the text.
std::string Part(std::string text) {
    std::replace(text.begin(), text.end(), '/', '_');
    return text;
}

}  // namespace

Download DownloadOf(const ListRequest &request) {
    const std::string condition = Condition(request.filters);
    if (condition.empty()) {
        throw Failure(Reason::kNothingToDownload);
    }
    const Filters &filters = request.filters;
    Files files;
    const Tonvale::MediaHandle rows = Open(request, condition, "album, disc, track, path");
    for (int row = 0; row < rows->rowCount; ++row) {
        const std::string path = FieldOf(rows, row, "path");
        const std::string folder = filters.album ? "" : Part(FieldOf(rows, row, "album")) + "/";
        files.Add(static_cast<uid_t>(NumberOf(rows, row, "userid")), path, folder + NameOf(path));
    }
    std::string name;
    for (const auto &filter :
         {filters.album, filters.artist, filters.albumArtist, filters.composer, filters.genre}) {
        name = name.empty() ? filter.value_or("") : name;
    }
    return {name, files.Take()};
}

Download DownloadOfFolder(const ListRequest &request, int row) {
    const FolderBelow folder = FindFolder(request, row);
    const std::string name = NameOf(folder.path);
    Files files;
    const Tonvale::MediaHandle rows = Open(request, folder.condition, "path");
    for (int i = 0; i < rows->rowCount; ++i) {
        const std::string path = FieldOf(rows, i, "path");
        files.Add(static_cast<uid_t>(NumberOf(rows, i, "userid")), path,
                  name + path.substr(folder.path.size()));
    }
    return {name, files.Take()};
}

Download DownloadOfPlaylist(const AnyPlaylist &playlist,
                            const Tonvale::webapi::playlist::PlaylistLibrary &library) {
    const auto page = ListTracks(playlist, library, 0, kMostDownloads);
    if (page->Total() > kMostDownloads) {
        throw Failure(Reason::kDownloadTooLarge, std::to_string(kMostDownloads));
    }
    Files files;
    for (Json::Value part = page->Next(); !part.empty(); part = page->Next()) {
        std::vector<std::string> ids;
        for (const Json::Value &track : part) {
            if (ParseSongId(track["id"].asString())) {
                ids.push_back(track["id"].asString());
            }
        }
        const auto found = ReadSongs(static_cast<uid_t>(library.uid), ids);
        for (const std::string &id : ids) {
            const auto song = found.find(*ParseSongId(id));
            if (song != found.end()) {
                std::array<char, 16> number{};
                std::snprintf(number.data(), number.size(), "%03zu ", files.Count() + 1);
                files.Add(song->second.userid, song->second.path,
                          number.data() + NameOf(song->second.path));
            }
        }
    }
    return {playlist.name, files.Take()};
}

Download DownloadOfSongs(uid_t uid, const std::vector<std::string> &ids) {
    Files files;
    for (auto first = ids.begin(); first != ids.end();) {
        const auto last = first + std::min<std::ptrdiff_t>(kSongsAtATime, ids.end() - first);
        const std::vector<std::string> some(first, last);
        const auto found = ReadSongs(uid, some);
        for (const std::string &id : some) {
            const auto song = found.find(*ParseSongId(id));
            if (song == found.end()) {
                throw Failure(Reason::kNoSuchSong, id);
            }
            files.Add(song->second.userid, song->second.path, NameOf(song->second.path));
        }
        first = last;
    }
    return {"", files.Take()};
}

}  // namespace tonvale_service
