// What rules select, and where they are found.
#include <gtest/gtest.h>

#include <string>

#include "musiclib/library_rows.h"
#include "tonvale/playlists.h"
#include "varn/playlistsvc.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class SmartStore : public LibraryRows {
  protected:
    static constexpr char kForged[] = "x'); DROP TABLE track; --";

    void SetUp() override {
        LibraryRows::SetUp();
        Add({.title = "O'Brien", .artist = "The \"Quotes\"", .genres = {"Rock", "Pop"}}, 1965);
        Add({.title = "100%_\\", .artist = "Quotes", .genres = {"Pop"}}, 1970);
        Add({.title = "100 percent", .artist = "genre"}, 2001);
        Add({.title = "\xC3\x89tude\r\n\t",
             .album = "B",
             .artist = kForged,
             .genres = {"Classical"}},
            0);
        Add({.userid = kAlice, .title = "own", .artist = "quotes", .genres = {"rock"}}, 1966);
        Query("INSERT INTO rating_track (userid, track, star) VALUES (1030, 1, 5), (1031, 2, 5)");
        Query("UPDATE track SET date = now() - interval '3 days', mdate = '2024-02-29 23:59:59'");
        Query("UPDATE track SET date = now(), mdate = '2024-03-01' WHERE id = 1");
        Query(
            "UPDATE track SET duration = 61.5, bitrate = 320000, filesize = 5000000000 "
            "WHERE id = 2");
        ClearLog();
    }

    void Add(TrackRow row, int year) {
        row.path = "/v/" + std::to_string(last_ + 1) + ".mp3";
        row.year = year;
        LibraryRows::Add(row);
    }
    static void Store(const std::string &rule) {
        WriteFile(varn::path::kSmartPlaylists, "\"p\" { " + rule + " }\n");
    }

    // The ids that a rule selects for alice, as "1 2 3".
    static std::string Selected(const std::string &rule) {
        Store(rule);
        const std::string condition = VarnAudioUtils::LoadSmartPlsRules("p");
        if (condition.empty()) {
            return "no condition";
        }
        // As a shared song is looked for among them.
        const std::string wrapped = "(" + condition + ") AND path LIKE '/v/%'";
        MEDIA_DB_HANDLE *rows = AudioInfoDBOpen("all", kAlice, VARN_TABLE_MUSIC, "*",
                                                wrapped.c_str(), nullptr, "id", 0, 0, 0);
        if (rows == nullptr) {
            return "no answer";
        }
        std::string ids;
        for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows, &song) == 0;) {
            ids += (ids.empty() ? "" : " ") + std::to_string(song.id);
        }
        AudioInfoDBClose(rows);
        return ids;
    }
};

TEST_F(SmartStore, ARuleSelectsItsSongs) {
    using Case = std::pair<const char *, const char *>;
    for (const auto &[rule, ids] :
         {Case{R"(artist is "QUOTES")", "2 5"},
          Case{R"(artist = "quotes" and year < 1970)", "5"},
          Case{R"(artist includes "quotes")", "1 2 5"},
          Case{R"(artist includes "quotes" && ! artist is "quotes")", "1"},
          Case{R"(artist startswith "the")", "1"},
          Case{R"(artist endswith "quotes\"")", "1"},
          Case{R"(artist != "quotes")", "1 3 4"},
          Case{R"(title is "o'brien")", "1"},
          Case{R"(title includes "0%_\\")", "2"},
          Case{R"(title includes "_")", "2"},
          Case{R"(title startswith "100%")", "2"},
          Case{"title is \"\xC3\xA9tude\\r\\n\\t\"", "4"},
          Case{R"(artist is "x'); DROP TABLE track; --")", "4"},
          Case{R"(artist is "' OR '1'='1")", ""},
          Case{R"(artist is "genre")", "3"},
          Case{R"(genre is "rock")", "1 5"},
          Case{R"(not genre is "pop")", "3 4 5"},
          Case{R"(genre != "rock")", "2 3 4"},
          Case{R"(genre is "")", "3"},
          Case{R"(album is "" and composer is "")", "1 2 3 5"},
          Case{"year is 1965 or year = 1970", "1 2"},
          Case{"year greater 1965 and year less 2001", "2 5"},
          Case{"year >= 1966 and year <= 1970 or year > 2000", "2 3 5"},
          Case{"(year > 2000 or year < 1966) and not year = 0", "1 3"},
          Case{"year != 0 and NOT Year > 1965", "1"},
          Case{"not not year = 0", "4"},
          Case{"rating greater 4", "1"},  // alice's stars, not bob's
          Case{"rating = 0", "2 3 4 5"},
          Case{"duration > 61.4 and bitrate >= 320000", "2"},
          Case{"filesize > 4294967296", "2"},
          Case{"year < 999999999999999", "1 2 3 4 5"},
          Case{"added after yesterday", "1"},
          Case{"added is today", "1"},
          Case{"added before today", "2 3 4 5"},
          Case{"added after 2 days ago", "1"},
          Case{"added before 2 days ago and added after 1 week ago", "2 3 4 5"},
          Case{"added after 1000 years ago and added after 365000 days ago", "1 2 3 4 5"},
          Case{"modified is 2024-02-29", "2 3 4 5"},
          Case{"modified after 2024-02-29", "1"},
          Case{"modified before 2024-03-01", "2 3 4 5"},
          Case{"modified after 9999-12-31", ""},
          Case{"modified before 0001-01-01", ""}}) {
        EXPECT_EQ(Selected(rule), ids) << rule;
        EXPECT_TRUE(Log().empty()) << rule;
    }
    // So many joins must not make the server plan all their orders.
    std::string genres = R"(genre is "rock")";
    for (int i = 0; i < 12; ++i) {
        genres += R"( and genre is "pop" and genre != "jazz")";
    }
    EXPECT_EQ(Selected(genres), "1");
}

TEST_F(SmartStore, FieldsAreAllThoseOfTheView) {
    for (const char *field : {"title", "artist", "album", "album_artist", "composer", "genre",
                              "comment", "path", "container", "codec"}) {
        EXPECT_NE(Selected(std::string(field) + " is \"'\""), "no answer") << field;
    }
    for (const char *field : {"year", "disc", "track", "duration", "bitrate", "frequency",
                              "channel", "filesize", "rating"}) {
        EXPECT_EQ(Selected(std::string(field) + " >= 0"), "1 2 3 4 5") << field;
    }
}

TEST_F(SmartStore, ARuleIsFoundByFileAndName) {
    const std::string file = scratch() / "own.playlist";
    const auto isThere = [&](const char *name) {
        return IsiTunesPlaylistExistByFilename(file.c_str(), name);
    };
    EXPECT_FALSE(isThere("p"));
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRulesByFilename(file, "p"), "");
    WriteFile(varn::path::kSmartPlaylists, "\"p\" { year > 1 }\n\"bad\" { year }\n");
    fs::copy_file(At(varn::path::kSmartPlaylists), file);
    EXPECT_TRUE(isThere("p") && isThere("bad"));
    for (const char *name : {"P", "", "p ", "other"}) {
        EXPECT_FALSE(isThere(name)) << name;
        EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRules(name), "") << name;
    }
    EXPECT_FALSE(IsiTunesPlaylistExistByFilename(nullptr, "p") || isThere(nullptr));
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRulesByFilename(file, "p"), "year > 1");
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRulesByFilename(file, "bad"), "");
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRulesByFilename(scratch(), "p"), "") << "a folder";
    std::string large = "\"p\" { year > 1 }\n";
    large.resize(1 << 20, ' ');
    WriteFile(varn::path::kSmartPlaylists, large);
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRules("p"), "year > 1");
    WriteFile(varn::path::kSmartPlaylists, large + " ");
    EXPECT_EQ(VarnAudioUtils::LoadSmartPlsRules("p"), "");
}

}  // namespace
