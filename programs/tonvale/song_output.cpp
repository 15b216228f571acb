#include "song_output.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "display.h"
#include "page_output.h"

namespace tonvale_cli {

namespace {

// Zero stands for a number that is not known.
std::string NumberText(int64_t number) {
    return number > 0 ? std::to_string(number) : "";
}

}  // namespace

std::string LengthText(float seconds) {
    if (!(seconds > 0)) {
        return "";
    }
    const long whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

void PrintTable(MEDIA_DB_HANDLE *rows, int offset, int64_t total) {
    Table table({{"ID", true, false},
                 {"TITLE", false, true},
                 {"ARTIST", false, true},
                 {"ALBUM", false, true},
                 {"YEAR", true, false},
                 {"LENGTH", true, false}});
    const auto song = std::make_unique<VARN_MEDIA_INFO>();
    int64_t shown = 0;
    for (; MediaInfoDBGet(rows, song.get()) == 0; ++shown) {
        table.AddRow({std::to_string(song->id), song->title, song->artist, song->album,
                      NumberText(song->year), LengthText(song->duration)});
    }
    PrintPage(table, offset, shown, total, {"track", "tracks"});
}

}  // namespace tonvale_cli
