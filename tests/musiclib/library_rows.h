// A library that is filled row by row, and readers of its answers.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "support/fixture.h"
#include "tonvale/library.h"

namespace tonvale_test {

using Handle = Tonvale::MediaHandle;
using List = varn::OwnedSongs;
using Texts = std::vector<std::string>;

// Texts that tempt SQL, patterns and encodings.
inline const Texts kHostile = {"O'Brien",
                               "100%",
                               "a_b",
                               "a\\b",
                               "'; DROP TABLE track; --",
                               "\\'",
                               "\xC3\x9F",
                               "%%",
                               "@VARN:VAR %s %n",
                               "genre = 'Rock'",
                               "line\r\nend",
                               "Кино́",
                               "静かな夜"};
// Texts that one of those would match if it were taken for a pattern.
inline const Texts kDecoys = {"OBrien", "100x", "axb", "ab", "ss", "", "\\", "a/b"};

class LibraryRows : public DatabaseTest {
  protected:
    // Adds a row with the next id, which it returns.
    int Add(TrackRow row) {
        row.id = ++last_;
        if (row.path.empty()) {
            row.path = "/m/" + std::to_string(row.id) + ".mp3";
        }
        Query(InsertSql(row));
        return row.id;
    }
    static void Rate(unsigned uid, int track, int star) {
        Query("INSERT INTO rating_track (userid, track, star) VALUES (" + std::to_string(uid) +
              ", " + std::to_string(track) + ", " + std::to_string(star) + ")");
    }

    // One column of all rows; "?" for a row without it.
    static Texts Column(const Handle &handle, const char *name) {
        Texts texts;
        for (int row = 0; handle && row < handle->rowCount; ++row) {
            const char *text = VARNDBFetchField(handle->result, row, name);
            texts.emplace_back(text != nullptr ? text : "?");
        }
        return texts;
    }
    static std::vector<double> Stars(const Handle &handle) {
        std::vector<double> stars;
        for (const std::string &text : Column(handle, "star")) {
            stars.push_back(std::strtod(text.c_str(), nullptr));
        }
        return stars;
    }
    static Texts Titles(const List &list) {
        Texts titles;
        for (const PLAYLIST_REC *entry = list.get(); entry != nullptr; entry = entry->next) {
            titles.emplace_back(entry->info.title);
        }
        return titles;
    }

    int last_ = 0;
};

}  // namespace tonvale_test
