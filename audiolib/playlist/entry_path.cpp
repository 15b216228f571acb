#include "playlist/entry_path.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "playlist/source.h"
#include "support/log.h"
#include "support/remote_path.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"

namespace Tonvale::playlist {

namespace {

std::vector<std::string_view> Components(std::string_view path) {
    std::vector<std::string_view> components;
    while (!path.empty()) {
        const std::string_view component = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(path.size(), component.size() + 1));
        if (!component.empty()) {
            components.push_back(component);
        }
    }
    return components;
}

// The folder that the entries are read from again. Without links it is that of the path, and the
// library need not be asked.
std::string FolderOf(const std::string &playlist) {
    if (!playlist.starts_with('/')) {
        return "";
    }
    struct stat info {};
    const bool isLink = lstat(playlist.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
    const std::string folder = playlist.substr(0, playlist.rfind('/'));
    return !isLink && varn::RealPath(folder) == folder ? folder : varn::PlaylistFolder(playlist);
}

void AppendComponent(std::string &path, std::string_view component) {
    path += path.empty() ? "" : "/";
    path += component;
}

}  // namespace

EntryPaths::EntryPaths(std::string playlistPath)
    : playlistPath_(std::move(playlistPath)),
      folder_(FolderOf(playlistPath_)),
      folders_(Components(folder_)) {}

std::optional<std::string> EntryPaths::Of(const std::string &songPath) {
    if (playlistPath_.empty() || songPath.empty() || support::IsRemotePath(songPath)) {
        return songPath;
    }
    if (songPath.front() == '/' && usb_.Holds(songPath)) {
        return songPath;
    }
    if (playlistPath_.front() != '/' || songPath.front() != '/') {
        LOG_ERROR(kSource, "Given path is not a absolute path. pls path [%s], song path [%s]",
                  playlistPath_.c_str(), songPath.c_str());
        return std::nullopt;
    }
    return Relative(songPath);
}

std::optional<std::string> EntryPaths::Relative(const std::string &songPath) const {
    const std::vector<std::string_view> song = Components(songPath);
    const std::size_t most = std::min(folders_.size(), song.size());
    std::size_t common = 0;
    while (common < most && folders_[common] == song[common]) {
        ++common;
    }
    std::string relative;
    for (std::size_t i = common; i < folders_.size(); ++i) {
        AppendComponent(relative, "..");
    }
    for (std::size_t i = common; i < song.size(); ++i) {
        AppendComponent(relative, song[i]);
    }
    if (relative.empty()) {
        LOG_ERROR(kSource,
                  "Failed to converse from absolute path to relative path. pls path [%s], song "
                  "path [%s]",
                  playlistPath_.c_str(), songPath.c_str());
        return std::nullopt;
    }
    return relative;
}

}  // namespace Tonvale::playlist
