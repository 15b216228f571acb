#include "musiclib/library_rows.h"

#include <cstdlib>

namespace tonvale_test {

int LibraryRows::Add(TrackRow row) {
    row.id = ++last_;
    if (row.path.empty()) {
        row.path = "/m/" + std::to_string(row.id) + ".mp3";
    }
    Query(InsertSql(row));
    return row.id;
}

void LibraryRows::Rate(unsigned uid, int track, int star) {
    Query("INSERT INTO rating_track (userid, track, star) VALUES (" + std::to_string(uid) + ", " +
          std::to_string(track) + ", " + std::to_string(star) + ")");
}

Texts LibraryRows::Column(const Handle &handle, const char *name) {
    Texts texts;
    for (int row = 0; handle && row < handle->rowCount; ++row) {
        const char *text = VARNDBFetchField(handle->result, row, name);
        texts.emplace_back(text != nullptr ? text : "?");
    }
    return texts;
}

std::vector<double> LibraryRows::Stars(const Handle &handle) {
    std::vector<double> stars;
    for (const std::string &text : Column(handle, "star")) {
        stars.push_back(std::strtod(text.c_str(), nullptr));
    }
    return stars;
}

Texts LibraryRows::Titles(const List &list) {
    Texts titles;
    for (const PLAYLIST_REC *entry = list.get(); entry != nullptr; entry = entry->next) {
        titles.emplace_back(entry->info.title);
    }
    return titles;
}

}  // namespace tonvale_test
