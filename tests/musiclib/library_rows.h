// A library that is filled row by row, and readers of its answers.
#pragma once

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
    int Add(TrackRow row);
    static void Rate(unsigned uid, int track, int star);

    // One column of all rows; "?" for a row without it.
    static Texts Column(const Handle &handle, const char *name);
    static std::vector<double> Stars(const Handle &handle);
    static Texts Titles(const List &list);

    int last_ = 0;
};

}  // namespace tonvale_test
