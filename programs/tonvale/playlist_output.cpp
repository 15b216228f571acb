#include "playlist_output.h"

#include <json/json.h>

#include "page_output.h"
#include "service/songs/songs.h"
#include "song_output.h"
#include "varn/number.h"

namespace tonvale_cli {

namespace {

// The row in the identifier of a normal playlist, "" for a file that has none.
std::string RowOf(const std::string &id) {
    const std::string key = id.substr(id.rfind('/') + 1);
    return varn::IsNumber(key) ? key : "";
}

std::string RowOfSong(const std::string &id) {
    const auto song = tonvale_service::ParseSongId(id);
    return song ? std::to_string(song->row) : "-";
}

}  // namespace

void PrintTable(tonvale_service::Page &page) {
    Table table({{"ID", false, true}, {"TITLE", false, true}, {"TYPE"}, {"PATH", false, true}});
    int64_t shown = 0;
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        for (const Json::Value &list : part) {
            const bool isNormal = list["type"] == "normal";
            const std::string id = list["id"].asString();
            table.AddRow({isNormal ? RowOf(id) : id, list["name"].asString(),
                          list["type"].asString(), list["path"].asString()});
            ++shown;
        }
    }
    PrintPage(table, page.Offset(), shown, page.Total(), {"playlist", "playlists"});
}

void PrintTable(tonvale_service::PlaylistTracks &page) {
    Table table({{"POS", true, false},
                 {"ID", true, false},
                 {"TITLE", false, true},
                 {"ARTIST", false, true},
                 {"LENGTH", true, false},
                 {"PATH", false, true}});
    int64_t shown = 0;
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        for (const Json::Value &song : part) {
            const Json::Value &more = song["additional"];
            table.AddRow({std::to_string(page.Offset() + shown), RowOfSong(song["id"].asString()),
                          song["title"].asString(), more["song_tag"]["artist"].asString(),
                          LengthText(more["song_audio"]["duration"].asFloat()),
                          song["path"].asString()});
            ++shown;
        }
    }
    PrintPage(table, page.Offset(), shown, page.Total(), {"entry", "entries"});
}

}  // namespace tonvale_cli
