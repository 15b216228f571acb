#include "playlist_output.h"

#include <cstdio>
#include <iostream>

#include "display.h"
#include "page_output.h"
#include "song_output.h"

namespace tonvale_cli {

namespace {

void PrintRange(int offset, int shown, int total, const char *one, const char *many) {
    const char *const noun = total == 1 ? one : many;
    if (shown == 0) {
        std::printf("0 of %d %s\n", total, noun);
    } else {
        std::printf("%d-%d of %d %s\n", offset + 1, offset + shown, total, noun);
    }
}

Json::Value PlaylistJson(const VARN_PLAYLIST &list) {
    Json::Value json(Json::objectValue);
    json["id"] = list.id;
    json["title"] = ValidUtf8(list.title);
    json["folder"] = ValidUtf8(list.album);
    json["path"] = ValidUtf8(list.path);
    return json;
}

// Writes the objects that `object` makes of a list's nodes, one by one.
template <typename Node, typename Object>
void PrintJson(const Node *list, int offset, int total, const char *name, const Object &object) {
    const auto writer = tonvale_answers::JsonWriter(tonvale_answers::Letters::kUtf8);
    std::cout << "{\"" << name << "\":[";
    for (const Node *node = list; node != nullptr; node = node->next) {
        std::cout << (node == list ? "" : ",");
        writer->write(object(*node), &std::cout);
    }
    std::cout << "],\"offset\":" << offset << ",\"total\":" << total << "}\n";
}

std::string Title(const VARN_MEDIA_INFO &song) {
    const std::string_view path = song.path;
    return *song.title != '\0' ? std::string(song.title)
                               : std::string(path.substr(path.rfind('/') + 1));
}

}  // namespace

void PrintPlaylists(const VARN_PLAYLIST *list, int offset, int total, bool json) {
    if (json) {
        PrintJson(list, offset, total, "playlists", PlaylistJson);
        return;
    }
    Table table({{"ID", true, false},
                 {"TITLE", false, true},
                 {"FOLDER", false, true},
                 {"PATH", false, true}});
    int shown = 0;
    for (const VARN_PLAYLIST *node = list; node != nullptr; node = node->next, ++shown) {
        table.AddRow(
            {node->id != 0 ? std::to_string(node->id) : "", node->title, node->album, node->path});
    }
    if (shown > 0) {
        std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    }
    PrintRange(offset, shown, total, "playlist", "playlists");
}

void PrintEntries(const PLAYLIST_REC *list, int offset, int total, bool json) {
    if (json) {
        int position = offset;
        PrintJson(list, offset, total, "entries", [&](const PLAYLIST_REC &entry) {
            Json::Value song = SongJson(entry.info);
            song["position"] = position++;
            return song;
        });
        return;
    }
    Table table({{"POS", true, false},
                 {"ID", true, false},
                 {"TITLE", false, true},
                 {"ARTIST", false, true},
                 {"LENGTH", true, false},
                 {"PATH", false, true}});
    int shown = 0;
    for (const PLAYLIST_REC *entry = list; entry != nullptr; entry = entry->next, ++shown) {
        const VARN_MEDIA_INFO &song = entry->info;
        table.AddRow({std::to_string(offset + shown), song.id != 0 ? std::to_string(song.id) : "-",
                      Title(song), song.artist, LengthText(song.duration), song.path});
    }
    if (shown > 0) {
        std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    }
    PrintRange(offset, shown, total, "entry", "entries");
}

}  // namespace tonvale_cli
