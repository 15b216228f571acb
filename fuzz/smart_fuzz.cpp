// Any bytes as a file of smart playlists: no quote of the file ends a literal of the condition, and
// every note points into the file.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>

#include "require.h"
#include "varn/playlistsvc.h"

namespace {

// What stands outside the literals of a condition, which must be one that is closed.
std::string OutsideLiterals(std::string_view condition) {
    std::string outside;
    bool inside = false;
    for (const char c : condition) {
        if (c == '\'') {
            inside = !inside;
        } else if (!inside) {
            outside += c;
        }
    }
    Require(!inside, "every literal is closed");
    return outside;
}

void CheckCondition(const std::string &condition) {
    const std::string outside = OutsideLiterals(condition);
    Require(std::all_of(outside.begin(), outside.end(),
                        [](unsigned char c) {
                            return std::isalnum(c) != 0 ||
                                   std::string_view(" _.,()<>=+-").find(static_cast<char>(c)) !=
                                       std::string_view::npos;
                        }),
            "only the table's names, numbers and operators stand outside");
    Require(outside.find("--") == std::string::npos, "no comment stands outside");
    Require(std::count(outside.begin(), outside.end(), '(') ==
                std::count(outside.begin(), outside.end(), ')'),
            "brackets are balanced");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
    const varn::SmartPlaylistFile file = varn::ParseSmartPlaylists(text);
    const auto check = [&](const varn::SmartPlaylistNote &note) {
        Require(note.line >= 1 && note.line <= lines && note.column >= 1 && !note.text.empty(),
                "a note tells a place of the file");
    };
    for (const varn::SmartPlaylist &playlist : file.playlists) {
        const bool broken = std::any_of(playlist.notes.begin(), playlist.notes.end(),
                                        [](const auto &note) { return !note.isWarning; });
        Require(playlist.condition.empty() == broken, "a playlist has a condition or an error");
        CheckCondition(playlist.condition);
        if (!broken) {
            const std::string_view own = text.substr(playlist.begin, playlist.end - playlist.begin);
            for (const std::string &part :
                 {std::string(own), "\"a\" {\n" + playlist.rule + "\n}"}) {
                const varn::SmartPlaylistFile again = varn::ParseSmartPlaylists(part);
                Require(again.playlists.size() == 1 && again.notes.empty() &&
                            again.playlists[0].condition == playlist.condition &&
                            again.playlists[0].end == part.size(),
                        "a playlist and its rule can be cut out, and mean the same elsewhere");
            }
        }
        std::for_each(playlist.notes.begin(), playlist.notes.end(), check);
    }
    std::for_each(file.notes.begin(), file.notes.end(), check);
    return 0;
}
