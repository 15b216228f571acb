#include <fcntl.h>

#include <cerrno>
#include <string>

#include "linux/error.h"
#include "linux/files.h"
#include "linux/smart_rules.h"
#include "varn/base.h"
#include "varn/playlistsvc.h"
#include "varn/systempath.h"

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 20;

// A playlist of a file by its name. Empty with the error state set.
std::optional<varn::SmartPlaylist> FindPlaylist(const std::string &file, std::string_view name) {
    const auto read = varn::ReadSmartPlaylists(file);
    if (!read) {
        return std::nullopt;
    }
    for (const varn::SmartPlaylist &playlist : read->playlists) {
        if (playlist.name == name) {
            return playlist;
        }
    }
    varn::SetError(VLIB_ERR_NOT_FOUND);
    return std::nullopt;
}

std::string LoadRules(const std::string &file, const std::string &name) {
    return varn::Guarded(std::string(), [&]() -> std::string {
        const auto playlist = FindPlaylist(file, name);
        if (!playlist) {
            return "";
        }
        if (playlist->condition.empty()) {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
        }
        return playlist->condition;
    });
}

}  // namespace

namespace varn {

SmartPlaylistFile ParseSmartPlaylists(std::string_view text) {
    return smart::Parser(text).File();
}

std::optional<std::string> ReadSmartText(const std::string &file) {
    return Guarded(std::optional<std::string>(), [&]() -> std::optional<std::string> {
        const UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        if (!fd && errno == ENOENT) {
            return "";
        }
        std::string text;
        if (!fd || !ReadToEnd(fd.Get(), kMostBytes, text)) {
            SetSystemError();
            return std::nullopt;
        }
        return text;
    });
}

std::optional<SmartPlaylistFile> ReadSmartPlaylists(const std::string &file) {
    return Guarded(std::optional<SmartPlaylistFile>(), [&]() -> std::optional<SmartPlaylistFile> {
        const auto text = ReadSmartText(file);
        return text ? std::optional(ParseSmartPlaylists(*text)) : std::nullopt;
    });
}

}  // namespace varn

bool IsiTunesPlaylistExistByFilename(const char *file, const char *name) {
    if (!NonEmptyStr(file) || !NonEmptyStr(name)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return false;
    }
    return varn::Guarded(false, [&] { return FindPlaylist(file, name).has_value(); });
}

std::string VarnAudioUtils::LoadSmartPlsRules(const std::string &name) {
    return varn::Guarded(std::string(),
                         [&] { return LoadRules(SystemPath(varn::path::kSmartPlaylists), name); });
}

std::string VarnAudioUtils::LoadSmartPlsRulesByFilename(const std::string &file,
                                                        const std::string &name) {
    return LoadRules(file, name);
}
