// Files of smart playlists and their mistakes.
#include <gtest/gtest.h>

#include <string>

#include "varn/playlistsvc.h"

namespace {

using varn::ParseSmartPlaylists;
using varn::SmartPlaylistFile;
using varn::SmartPlaylistNote;

// "line:column text" of all notes, warnings with "w " in front.
std::string Notes(const SmartPlaylistFile &file) {
    std::string all;
    const auto add = [&](const SmartPlaylistNote &note) {
        all += (note.isWarning ? "w " : "") + std::to_string(note.line) + ":" +
               std::to_string(note.column) + " " + note.text + "\n";
    };
    for (const auto &playlist : file.playlists) {
        for (const SmartPlaylistNote &note : playlist.notes) {
            add(note);
        }
    }
    for (const SmartPlaylistNote &note : file.notes) {
        add(note);
    }
    return all;
}

std::string Nested(const std::string &open, int times, const std::string &close) {
    std::string rule;
    for (int i = 0; i < times; ++i) {
        rule += open;
    }
    rule += "year > 1";
    for (int i = 0; i < times; ++i) {
        rule += close;
    }
    return rule;
}

TEST(SmartRules, MistakesAreToldWithLineAndColumn) {
    using Case = std::pair<std::string, const char *>;
    for (const auto &[text, note] :
         {Case{"\"a\" { artist includes }", "1:23 'artist' is compared with a text in quotes"},
          Case{"\n# {\n  \"a\" { yeer > 1 }", "3:9 here a field is expected: title,"},
          Case{"\"\xC3\xA9\xC3\xA9\" { yeer > 1 }", "1:8 here a field is expected"},
          Case{"\xEF\xBB\xBF\"a\" { yeer > 1 }", "1:7 here a field is expected"},
          Case{"\"a\" { year > \"1\" }", "1:14 'year' is compared with a number"},
          Case{"\"a\" { year includes 1 }", "1:12 after 'year' comes is, =, !=, <, less,"},
          Case{"\"a\" { artist > \"x\" }",
               "1:14 after 'artist' comes is, =, !=, includes, startswith or"},
          Case{"\"a\" { artist is \"\n\" }", "1:17 this text has no closing quote on its line"},
          Case{"\"a\" { artist is \"x\\y\" }", "1:17 a backslash stands before"},
          Case{"\"a\" { artist is \"x\x01\" }", "1:17 this text holds a control character"},
          Case{std::string("\"a\" { artist is \"x\0y\" }", 22), "1:17 this text holds a control"},
          Case{"\"a\" { artist is \"x\xFFy\" }", "1:17 this text is not UTF-8"},
          Case{"\"a\" { artist is \"" + std::string(1025, 'x') + "\" }",
               "1:17 this text is longer"},
          Case{"\"a\" { artist includes \"\" }", "1:23 every song has this empty text"},
          Case{"\"a\" { year > 12a }", "1:14 a number has nothing but digits"},
          Case{"\"a\" { year > -1 }", "1:14 this character has no meaning here"},
          Case{"\"a\" { year > 1; drop table track }", "1:15 this character has no meaning"},
          Case{"\"a\" { added > 2024-01-01 }", "1:13 after 'added' comes before, after or is"},
          Case{"\"a\" { added after 2023-02-29 }", "1:19 a day is written 2024-01-31,"},
          Case{"\"a\" { added after 0000-01-01 }", "1:19 a day is written"},
          Case{"\"a\" { added after 2 fortnights ago }",
               "1:21 a time back is counted in day, week,"},
          Case{"\"a\" { added after 2 weeks }", "1:27 a time back is written '2 weeks ago'"},
          Case{"\"a\" { added after 1001 years ago }", "1:19 this is not a whole number, or"},
          Case{"\"a\" { year > 1234567890123456 }", "1:14 this number is too long"},
          Case{"\"a\" { added after 1.5 days ago }", "1:19 this is not a whole number, or"},
          Case{"\"a\" { added is 2 days ago }", "1:16 'is' wants a day"},
          Case{"\"a\" { (year > 1 }", "1:17 here 'and', 'or' or the closing ) is expected"},
          Case{"\"a\" { year > 1 year < 2 }", "1:16 here 'and', 'or' or the closing } is expected"},
          Case{"\"a\" { year > 1", "1:15 here 'and', 'or' or the closing }"},
          Case{"\"a\" { }", "1:7 here a field is expected"},
          Case{"\"a\" year > 1 }", "1:5 a playlist's rule stands between { and }"},
          Case{"\"\" { year > 1 }", "1:1 a playlist's name has 1 to 255 bytes"},
          Case{"\"" + std::string(256, 'n') + "\" { year > 1 }", "1:1 a playlist's name has"},
          Case{"a { year > 1 }", "1:1 a playlist begins with its name in quotes"},
          Case{"\"a\" { " + Nested("(", 33, ")") + " }", "1:40 this is nested deeper than 32"},
          Case{"\"a\" { " + Nested("! ", 33, "") + " }", "1:73 this is nested deeper than 32"},
          Case{"\"a\" { " + Nested("not (", 100000, ")") + " }", "this is nested deeper than 32"},
          Case{"\"a\" { year > 1 limit x }", "1:16 'limit' is followed by a number"},
          Case{"\"a\" { year > 1 order artist }", "1:22 'order' is followed by 'by' and a field"},
          Case{"\"a\" { year > 1 order by secret }", "1:25 here a field is expected"},
          Case{"\"a\" { year > 1 order by artist desc, title limit 5 }",
               "w 1:16 the order is not kept: songs come by album, disc and track\n"
               "w 1:44 the limit is not kept: all songs are listed\n"},
          Case{"\"a\" { year > 1 }\n\"a\" { year > 2 }",
               "2:1 there is a playlist of this name in line 1\n"}}) {
        SCOPED_TRACE(text.substr(0, 60));
        const SmartPlaylistFile file = ParseSmartPlaylists(text);
        EXPECT_NE(Notes(file).find(note), std::string::npos) << Notes(file);
    }
}

TEST(SmartRules, AMistakeCostsItsOwnPlaylistAlone) {
    const std::string good = "\"good\" { year > 1 }\n";
    for (const std::string &bad :
         {std::string("\"bad\" { artist is }\n"), std::string("\"bad\" { year > 1\n"),
          std::string("\"bad\" { artist is \"x }\n"),
          std::string("\"bad\" { artist is \"}\" year }\n"),
          std::string("\"bad\" { ( ( year > 1 }\n"), std::string("bad { year > 1 }\n"),
          std::string("\"\" { year > 1 }\n"), std::string("} } {\n"),
          std::string("\"bad\" { { year > 1 } }\n"), std::string("\"bad\" year\n")}) {
        SCOPED_TRACE(bad);
        const SmartPlaylistFile file = ParseSmartPlaylists("\"first\" { year > 0 }\n" + bad + good);
        ASSERT_GE(file.playlists.size(), 2U);
        EXPECT_EQ(file.playlists.front().condition, "year > 0");
        EXPECT_EQ(file.playlists.back().name, "good");
        EXPECT_EQ(file.playlists.back().condition, "year > 1");
        EXPECT_EQ(file.playlists.back().line, 3);
        EXPECT_NE(Notes(file), "");
        if (file.playlists.size() == 3) {
            EXPECT_EQ(file.playlists[1].condition, "") << "a broken rule selects";
        }
    }
}

TEST(SmartRules, LimitsHoldAtTheirFullLength) {
    const auto notes = [](const std::string &rule) {
        return Notes(ParseSmartPlaylists("\"a\" { " + rule + " }"));
    };
    std::string tests = "year > 1";
    std::string file;
    for (int i = 0; i < 1001; ++i) {
        tests += i < 255 ? " or year > 1" : "";
        file += "\"" + std::to_string(i) + "\" { year > 1 }\n";
    }
    EXPECT_EQ(notes(tests) + notes(Nested("(", 32, ")")), "");
    EXPECT_NE(notes(tests + " or year > 1"), "");
    EXPECT_EQ(ParseSmartPlaylists(file).playlists.size(), 1000U);
    EXPECT_EQ(Notes(ParseSmartPlaylists(file)), "1001:1 a file holds 1000 playlists at most\n");
    for (const char *empty : {"", "\n\n", "# nothing\n", "\xEF\xBB\xBF", "# no end"}) {
        EXPECT_TRUE(ParseSmartPlaylists(empty).playlists.empty());
        EXPECT_EQ(Notes(ParseSmartPlaylists(empty)), "");
    }
}

}  // namespace
