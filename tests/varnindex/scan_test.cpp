// What a scan makes of moves, homes, cue sheets, folders and lists.
#include <gtest/gtest.h>
#include <signal.h>
#include <taglib/flacfile.h>
#include <taglib/tpropertymap.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "varn/packageconf.h"
#include "varnindex/database.h"
#include "varnindex/folders.h"
#include "varnindex/index_fixture.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Ended;
using tonvale_test::Samples;

class ScanTest : public tonvale_test::IndexTest {
  protected:
    static fs::path Home(const std::string &user) { return root() / "volume1/homes" / user; }

    static void EnableHomes(bool on) {
        ASSERT_EQ(VARNAudioConfSet("enable_personal_library", on ? "yes" : "no"), 0);
    }

    static void Rate(const std::string &condition, int star) {
        Query("INSERT INTO rating_track SELECT 0, id, " + std::to_string(star) +
              " FROM track WHERE " + condition);
    }

    static void Write(const std::string &name, const std::string &text) {
        const fs::path path = Music() / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }

    static std::string Sheet(const std::string &file, const std::string &first = "One") {
        return "PERFORMER \"Band\"\nTITLE \"Disc\"\nFILE \"" + file +
               "\" WAVE\n  TRACK 01 AUDIO\n    TITLE \"" + first +
               "\"\n    INDEX 01 00:00:00\n  TRACK 02 AUDIO\n    TITLE \"Two\"\n"
               "    PERFORMER \"Guest\"\n    INDEX 01 00:00:50\n";
    }

    // Paths below the music folder.
    static Rows Ratings() {
        return Query("SELECT substr(path, " + std::to_string(Music().string().size() + 2) +
                     "), track.track, star FROM track JOIN rating_track r ON r.track = id"
                     " ORDER BY path, track.track");
    }

    // Runs a statement for each table of the library: %1$s is its name, %2$s the names of its columns
    // that can be written.
    static void ForEveryTable(const std::string &statement) {
        Query("DO $do$ DECLARE s text; BEGIN FOR s IN SELECT format('" + statement +
              "', table_name, string_agg(column_name, ', ')) FROM information_schema.columns"
              " WHERE table_schema = 'public' AND is_generated = 'NEVER'"
              " AND (table_name LIKE '%track' OR table_name LIKE '%playlist'"
              " OR table_name LIKE '%directory') AND table_name NOT LIKE 'saved%'"
              " GROUP BY table_name ORDER BY table_name DESC LOOP EXECUTE s; END LOOP; END $do$");
    }

    // The server needs a moment to find out that its client was killed; until then it holds the lock.
    static void WaitForItsServerProcess() {
        for (int i = 0; i < 500; ++i) {
            varnindex::Database probe;
            if (probe.TakeIndexLock()) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ADD_FAILURE() << "the lock of a killed indexer stays";
    }

    static void EmbedSheet(const fs::path &path, const std::string &sheet) {
        TagLib::FLAC::File file(path.c_str());
        TagLib::PropertyMap tags = file.properties();
        tags.replace("CUESHEET", TagLib::StringList({sheet, TagLib::String::UTF8}));
        file.setProperties(tags);
        ASSERT_TRUE(file.save());
    }

    // The library without ids and dates: what two ways to the same folders must agree on.
    static Rows Content() {
        Rows rows = Query(
            "SELECT t.userid, t.path, t.title, t.filesize, t.mdate, t.track, is_virtual,"
            " has_virtual, fingerprint, sheet_stamp, agg_genre, album, album_artist, artist, "
            "composer, genre,"
            " audio_offset, star FROM (SELECT track.*, id AS song FROM track) t"
            " LEFT JOIN (SELECT track AS song, album, album_artist FROM album_track) a USING (song)"
            " LEFT JOIN (SELECT track AS song, artist FROM artist_track) b USING (song)"
            " LEFT JOIN (SELECT track AS song, composer FROM composer_track) c USING (song)"
            " LEFT JOIN (SELECT track AS song, genre FROM genre_track) g USING (song)"
            " LEFT JOIN (SELECT track AS song, audio_offset FROM virtual_info_track) v USING (song)"
            " LEFT JOIN (SELECT track AS song, star FROM rating_track) r USING (song)"
            " ORDER BY t.path, is_virtual, t.track, genre");
        for (const char *table : {"directory", "playlist"}) {
            const Rows more =
                Query(std::string("SELECT path, title FROM ") + table + " ORDER BY path");
            rows.insert(rows.end(), more.begin(), more.end());
        }
        return rows;
    }
};

TEST_F(ScanTest, MovedSongsKeepTheirRows) {
    PutTagged("a/1.mp3", "First", "Rock");
    PutTagged("a/2.mp3", "Second", "Rock");
    PutTagged("b/3.mp3", "Third of another length", "Jazz");
    Index();
    Rate("true", 4);
    const Rows before = Query("SELECT title, id, date FROM track ORDER BY title");
    fs::rename(Music() / "a", Music() / "c");                    // a folder
    fs::rename(Music() / "b/3.mp3", Music() / "b/renamed.mp3");  // a file
    Expect(Index(), 0, "added 0, changed 0, moved 3, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT title, id, date FROM track ORDER BY title"), before);
    EXPECT_EQ(Ratings(),
              (Rows{{"b/renamed.mp3", "0", "4"}, {"c/1.mp3", "0", "4"}, {"c/2.mp3", "0", "4"}}));
    EXPECT_EQ(SideRows(), "12");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 3, failed 0");
}

TEST_F(ScanTest, EqualFilesArePairedByNameThenByOrder) {
    for (const char *name : {"x/a.mp3", "x/b.mp3", "x/c.mp3"}) {
        PutTagged(name, "Same", "Rock");
    }
    Index();
    Rate("path LIKE '%/a.mp3'", 1);
    Rate("path LIKE '%/b.mp3'", 2);
    Rate("path LIKE '%/c.mp3'", 3);
    // "1.mp3" comes first, but the row of "b.mp3" belongs to the file of that name.
    fs::create_directories(Music() / "y");
    fs::rename(Music() / "x/a.mp3", Music() / "y/1.mp3");
    fs::rename(Music() / "x/b.mp3", Music() / "y/b.mp3");
    fs::rename(Music() / "x/c.mp3", Music() / "y/2.mp3");
    PutTagged("x/keeps the folder.mp3", "Another", "Jazz");
    Expect(Index(), 0, "added 1, changed 0, moved 3, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(),
              (Rows{{"y/1.mp3", "0", "1"}, {"y/2.mp3", "0", "3"}, {"y/b.mp3", "0", "2"}}));
}

TEST_F(ScanTest, OneRowGoesToOneFile) {
    PutTagged("a.mp3", "Same", "Rock");
    Index();
    Rate("true", 5);
    fs::rename(Music() / "a.mp3", Music() / "b.mp3");
    fs::copy_file(Music() / "b.mp3", Music() / "c.mp3");
    PutTagged("d.mp3", "Sama", "Rock");  // the same size and audio, but other tags: it is third
    Expect(Index(), 0, "added 2, changed 0, moved 1, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"b.mp3", "0", "5"}}));
}

TEST_F(ScanTest, AMoveIsFoundBetweenGivenPaths) {
    PutTagged("a/1.mp3", "First");
    PutTagged("b/2.mp3", "Second");
    Index();
    Rate("title = 'First'", 5);
    fs::rename(Music() / "a/1.mp3", Music() / "b/1.mp3");
    fs::remove(Music() / "a");
    Expect(Index({(Music() / "a/1.mp3").string(), (Music() / "b/1.mp3").string()}), 0,
           "added 0, changed 0, moved 1, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"b/1.mp3", "0", "5"}}));
}

// The copy has been in the library for a while when its original goes.
TEST_F(ScanTest, ACopyThatOutlivesItsOriginalIsTheOriginal) {
    PutTagged("a/1.mp3", "First");
    PutTagged("a/2.mp3", "Second song");
    Put("a/disc/album.flac", "tone.flac");
    Write("a/disc/album.cue", Sheet("album.flac"));
    Index();
    Rate("title = 'First'", 5);
    Rate("is_virtual AND track = 2", 3);
    const Rows before = Query("SELECT id, date FROM track ORDER BY id");
    fs::copy(Music() / "a", Music() / "b", fs::copy_options::recursive);
    fs::copy_file(Music() / "b/1.mp3", Music() / "b/0.mp3");  // another copy, of another name
    PutTagged("keeps/3.mp3", "Third of another length");
    Expect(Index({(Music() / "b").string()}), 0,
           "added 4, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    Rate("path LIKE '%/b/2.mp3'", 1);  // somebody likes the copy: it stays what it is
    fs::remove_all(Music() / "a");
    const std::string summary = "added 1, changed 0, moved 2, removed 1, unchanged 4, failed 0";
    Expect(Index({"--dry-run"}), 0, summary);
    Expect(Index(), 0, summary);
    EXPECT_EQ(
        Ratings(),
        (Rows{{"b/1.mp3", "0", "5"}, {"b/2.mp3", "0", "1"}, {"b/disc/album.flac", "2", "3"}}));
    EXPECT_EQ(Query("SELECT id, date FROM track WHERE path NOT LIKE '%/b/_.mp3'"
                    " AND path NOT LIKE '%/keeps/%' OR path LIKE '%/b/1.mp3' ORDER BY id"),
              (Rows{before[0], before[2], before[3], before[4]}));
    EXPECT_EQ(SideRows(), "31");
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track JOIN track ON id ="
                    " virtual_info_track.track"),
              "2");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 5, failed 0");
}

// Known names, and other songs behind them.
TEST_F(ScanTest, SongsRenamedOverEachOtherKeepTheirRows) {
    const auto song = [](int i) { return std::string(static_cast<std::size_t>(i), 'x'); };
    for (int i = 1; i <= 4; ++i) {
        // Audio of its own: the tags are in front of it, and do not count.
        const fs::path path = PutTagged(std::to_string(i) + ".mp3", song(i));
        std::ofstream(path, std::ios::app | std::ios::binary)
            << ReadFile(path).substr(3000, i * 500);
    }
    Put("a/album.flac", "tone.flac");
    Put("b/album.ogg", "tone.ogg");
    Write("a/album.cue", Sheet("album.flac", "Flac"));
    Write("b/album.cue", Sheet("album.ogg", "Ogg"));
    Index();
    for (int i = 1; i <= 4; ++i) {
        Rate("title = '" + song(i) + "'", i);
    }
    Rate("is_virtual AND title = 'Ogg'", 5);
    const Rows ids = Query("SELECT title, id FROM track ORDER BY id");
    // An album is renumbered from its second song on, and the last one takes the first one's name.
    for (int i = 4; i >= 1; --i) {
        fs::rename(Music() / (std::to_string(i) + ".mp3"),
                   Music() / (std::to_string(i + 1) + ".mp3"));
    }
    fs::rename(Music() / "5.mp3", Music() / "1.mp3");
    fs::rename(Music() / "a", Music() / "c");
    fs::rename(Music() / "b", Music() / "a");
    fs::rename(Music() / "c", Music() / "b");
    const std::string summary = "added 0, changed 0, moved 6, removed 0, unchanged 0, failed 0";
    Expect(Index({"--dry-run"}), 0, summary);
    Expect(Index(), 0, summary);
    EXPECT_EQ(Query("SELECT title, id FROM track ORDER BY id"), ids);
    EXPECT_EQ(Ratings(), (Rows{{"1.mp3", "0", "4"},
                               {"2.mp3", "0", "1"},
                               {"3.mp3", "0", "2"},
                               {"4.mp3", "0", "3"},
                               {"a/album.ogg", "1", "5"}}));
    // Over a name whose own song is gone: one row moves, the other goes.
    fs::rename(Music() / "3.mp3", Music() / "4.mp3");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 1, unchanged 4, failed 0");
    EXPECT_EQ(Value("SELECT star FROM rating_track r JOIN track ON id = r.track"
                    " WHERE path LIKE '%/4.mp3'"),
              "2");
    // Another sound that nobody knows, or that is a copy: the row stays with its path.
    std::ofstream(Music() / "4.mp3", std::ios::app | std::ios::binary) << song(700);
    fs::copy_file(Music() / "2.mp3", Music() / "1.mp3", fs::copy_options::overwrite_existing);
    Expect(Index(), 0, "added 0, changed 2, moved 0, removed 0, unchanged 3, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"1.mp3", "0", "4"},
                               {"2.mp3", "0", "1"},
                               {"4.mp3", "0", "2"},
                               {"a/album.ogg", "1", "5"}}));
}

TEST_F(ScanTest, SplitFilesOfOneNameChangePlaces) {
    for (const char *name : {"a", "b"}) {
        Put(std::string(name) + "/album.wav", "tone.wav");
        Write(std::string(name) + "/album.cue", Sheet("album.wav", name));
    }
    std::ofstream(Music() / "b/album.wav", std::ios::app | std::ios::binary)
        << std::string(5000, 'x');
    Index();
    Rate("is_virtual AND path LIKE '%/a/%'", 5);
    const Rows tracks = Query("SELECT id, title, track FROM track ORDER BY id");
    fs::rename(Music() / "a", Music() / "c");
    fs::rename(Music() / "b", Music() / "a");
    fs::rename(Music() / "c", Music() / "b");
    Expect(Index(), 0, "added 0, changed 0, moved 2, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT id, title, track FROM track ORDER BY id"), tracks);
    EXPECT_EQ(Ratings(), (Rows{{"b/album.wav", "1", "5"}, {"b/album.wav", "2", "5"}}));
    fs::rename(Music() / "b/album.wav", Music() / "a/album.wav");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 1, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"a/album.wav", "1", "5"}, {"a/album.wav", "2", "5"}}));
}

TEST_F(ScanTest, AnEmptyInnerFolderKeepsItsSongsUnlessTheyAreElsewhere) {
    PutTagged("disk/1.mp3", "First");
    PutTagged("here/2.mp3", "Second");
    Index();
    const std::string id = Value("SELECT id FROM track WHERE title = 'First'");
    fs::rename(Music() / "disk/1.mp3", scratch() / "1.mp3");
    const Ended empty = Index();
    Expect(empty, 1, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_NE(empty.err.find("disk/: the folder is empty; its songs stay in the library: 1\n"),
              empty.err.npos);
    EXPECT_EQ(Value("SELECT count(*) FROM directory WHERE path LIKE '%/disk'"), "1");
    fs::rename(scratch() / "1.mp3", Music() / "here/1.mp3");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM directory WHERE path LIKE '%/disk'"), "0");
    EXPECT_EQ(Value("SELECT id FROM track WHERE path LIKE '%/here/1.mp3'"), id);
    fs::remove(Music() / "here/1.mp3");
    fs::remove(Music() / "here/2.mp3");
    Expect(Index({"--purge", "--dry-run", "-v"}), 0,
           "removed " + (Music() / "here/1.mp3").string() + "\nremoved " +
               (Music() / "here/2.mp3").string() +
               "\nadded 0, changed 0, moved 0, removed 2, unchanged 0, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "2");
    Expect(Index({"--purge"}), 0, "added 0, changed 0, moved 0, removed 2, unchanged 0, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM directory"), "0");
}

TEST_F(ScanTest, FullReadsEveryFileAgain) {
    PutTagged("1.mp3", "Right");
    Index();
    Query("UPDATE track SET title = 'Wrong'");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    Expect(Index({"--full"}), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Value("SELECT title FROM track"), "Right");
}

TEST_F(ScanTest, FoldersAndLists) {
    Put("rock/one/1.mp3");
    Put("rock/one/2.mp3");
    Put("rock-live/3.mp3");
    Write("lists/Best of.M3U8", "#EXTM3U\n");
    Write("lists/empty/notes.txt", "no music");
    const auto paths = [](const char *table) {
        Rows rows = Query(std::string("SELECT path FROM ") + table + " ORDER BY path");
        for (auto &row : rows) {
            row.front().erase(0, scratch().string().size() + 1);
        }
        return rows;
    };
    Index();
    EXPECT_EQ(
        paths("directory"),
        (Rows{
            {"music"}, {"music/lists"}, {"music/rock"}, {"music/rock-live"}, {"music/rock/one"}}));
    EXPECT_EQ(Query("SELECT title, album FROM playlist"), (Rows{{"Best of", "lists"}}));
    const Rows ids = Query("SELECT id FROM directory UNION ALL SELECT id FROM playlist");
    Index();
    EXPECT_EQ(Query("SELECT id FROM directory UNION ALL SELECT id FROM playlist"), ids);
    fs::remove_all(Music() / "rock-live");
    fs::remove(Music() / "lists/Best of.M3U8");
    Index({(Music() / "rock").string()});  // which is not where they were
    EXPECT_EQ(paths("directory").size(), 5U);
    Index();
    EXPECT_EQ(paths("directory"), (Rows{{"music"}, {"music/rock"}, {"music/rock/one"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM playlist"), "0");
}

TEST_F(ScanTest, ListsAreCountedAndKeptLikeSongs) {
    const std::string songs = "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0";
    const auto lists = [&](const std::string &counts) { return songs + "; playlists: " + counts; };
    Put("here/1.mp3");
    Write("lists/a.m3u", "#EXTM3U\n");
    Write("../disk/c.pls", "[playlist]\n");
    fs::create_symlink(scratch() / "disk/c.pls", Music() / "here/c.pls");
    Expect(Index(), 0,
           "added 1, changed 0, moved 0, removed 0, unchanged 0, failed 0;"
           " playlists: added 2, changed 0, removed 0, unchanged 0");
    const Rows ids = Query("SELECT id, path FROM playlist ORDER BY id");
    Expect(Index(), 0, lists("added 0, changed 0, removed 0, unchanged 2"));
    fs::rename(Music() / "lists/a.m3u", scratch() / "a.m3u");
    fs::rename(scratch() / "disk", scratch() / "unplugged");
    for (int i = 0; i < 2; ++i) {
        const Ended away = Index();
        Expect(away, 1, songs);
        for (const char *word :
             {"lists/: the folder is empty; its playlists stay in the library: 1",
              "c.pls: No such file or directory; its playlists stay"}) {
            EXPECT_NE(away.err.find(word), away.err.npos) << away.err;
        }
        EXPECT_EQ(Query("SELECT id, path FROM playlist ORDER BY id"), ids);
        EXPECT_EQ(Value("SELECT count(*) FROM directory WHERE path LIKE '%/lists'"), "1");
    }
    fs::rename(scratch() / "unplugged", scratch() / "disk");
    fs::rename(scratch() / "a.m3u", Music() / "lists/a.m3u");
    Expect(Index(), 0, lists("added 0, changed 0, removed 0, unchanged 2"));
    fs::remove(Music() / "lists/a.m3u");
    const std::string removed = lists("added 0, changed 0, removed 1, unchanged 1");
    Expect(Index({"--purge", "--dry-run"}), 0, removed);
    EXPECT_EQ(Query("SELECT id, path FROM playlist ORDER BY id"), ids);
    Expect(Index({"--purge"}), 0, removed);
    EXPECT_EQ(Value("SELECT count(*) FROM playlist"), "1");
    // Lists of a folder whose songs have moved go with them.
    Put("album/2.flac", "tone.flac");
    Write("album/2.m3u", "2.flac\n");
    Index();
    fs::rename(Music() / "album/2.flac", Music() / "here/2.flac");
    fs::rename(Music() / "album/2.m3u", Music() / "here/2.m3u");
    Expect(Index(), 0,
           "added 0, changed 0, moved 1, removed 0, unchanged 1, failed 0;"
           " playlists: added 1, changed 0, removed 1, unchanged 1");
    Write("here/2.m3u", "#EXTM3U\n2.flac\n");
    Expect(Index(), 0,
           "added 0, changed 0, moved 0, removed 0, unchanged 2, failed 0;"
           " playlists: added 0, changed 1, removed 0, unchanged 1");
}

TEST_F(ScanTest, HomesBelongToTheirUsers) {
    Put("shared.mp3");
    fs::copy_file(Samples() / "tone.flac", Home("alice") / "music/a.flac");
    std::ofstream(Home("bob") / "music/mine.pls") << "[playlist]\n";
    EnableHomes(false);
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    EnableHomes(true);
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Query("SELECT userid, title FROM track ORDER BY userid"),
              (Rows{{"0", "The Tóne"}, {"1030", "The Tóne"}}));
    EXPECT_EQ(Query("SELECT userid, path FROM personal_directory ORDER BY userid"),
              (Rows{{"1030", (Home("alice") / "music").string()},
                    {"1031", (Home("bob") / "music").string()}}));
    EXPECT_EQ(Query("SELECT userid, title, album FROM personal_playlist"),
              (Rows{{"1031", "mine", "music"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM playlist"), "0");
    // A home that is away keeps its songs, one that is switched off does not.
    fs::rename(Home("alice"), scratch() / "alice");
    const Ended away = Index();
    Expect(away, 1, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_NE(away.err.find("home music folder"), away.err.npos);
    EXPECT_EQ(Value("SELECT count(*) FROM track t, personal_directory WHERE t.userid = 1030"), "2");
    fs::rename(scratch() / "alice", Home("alice"));
    EnableHomes(false);
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 1, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM personal_directory"), "0");
    EXPECT_EQ(Value("SELECT count(*) FROM personal_playlist"), "0");
}

TEST_F(ScanTest, AHomeInsideASharedFolderStaysItsUsers) {
    fs::copy_file(Samples() / "plain.mp3", Home("alice") / "music/a.mp3");
    fs::copy_file(Samples() / "plain.mp3", Home("alice") / "b.mp3");
    Register({root() / "volume1"});
    EnableHomes(true);
    Index();
    EXPECT_EQ(Query("SELECT userid, title FROM track ORDER BY title"),
              (Rows{{"1030", "a"}, {"0", "b"}}));
    EXPECT_EQ(Query("SELECT title FROM directory ORDER BY title"),
              (Rows{{"alice"}, {"homes"}, {"volume1"}}));
    EXPECT_EQ(Query("SELECT title FROM personal_directory"), (Rows{{"music"}}));
    EnableHomes(false);  // a song that changes its owner keeps its row
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE userid = 0"), "2");
}

TEST_F(ScanTest, ASheetSplitsItsFile) {
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.wav"));
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    const std::string tracks =
        "SELECT t.track, title, artist, album, album_artist, audio_offset,"
        " round(duration::numeric, 2), has_virtual, cue_sheet_path LIKE '%/album.cue'"
        " FROM track t JOIN artist_track a ON a.track = id JOIN album_track b ON b.track = id"
        " LEFT JOIN virtual_info_track v ON v.track = id ORDER BY is_virtual, t.track";
    EXPECT_EQ(Query(tracks),
              (Rows{{"3", "The Tóne", "O'Brien", "A Test", "The Band", "", "1.00", "t", ""},
                    {"1", "One", "Band", "Disc", "Band", "0", "0.67", "f", "t"},
                    {"2", "Two", "Guest", "Disc", "Band", "0", "0.33", "f", "t"}}));
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    // A changed sheet updates its tracks' rows, and a moved album takes them along.
    Rate("is_virtual", 3);
    const Rows ids = Query("SELECT id FROM track ORDER BY id");
    Write("disc/album.cue", Sheet("album.wav", "Another one"));
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Value("SELECT title FROM track WHERE is_virtual AND track = 1"), "Another one");
    fs::rename(Music() / "disc", Music() / "moved");
    Expect(Index(), 0, "added 0, changed 0, moved 1, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"moved/album.flac", "1", "3"}, {"moved/album.flac", "2", "3"}}));
    EXPECT_EQ(Query("SELECT id FROM track ORDER BY id"), ids);
    fs::remove(Music() / "moved/album.cue");
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT title, has_virtual FROM track"), (Rows{{"The Tóne", "f"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track"), "0");
    EXPECT_EQ(SideRows(), "5");
}

TEST_F(ScanTest, ASplitFileThatGoesTakesItsTracksAlong) {
    Put("album.flac", "tone.flac");
    Put("other.mp3");
    Write("album.cue", Sheet("album.flac"));
    Index();
    fs::remove(Music() / "album.flac");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 1, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "1");
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track"), "0");
}

TEST_F(ScanTest, SheetsThatSplitNothing) {
    Put("split/01.mp3");
    Put("split/02.mp3", "plain.mp3");
    Write("split/album.cue", Sheet("album.wav"));
    Write("split/tracks.cue",
          "FILE \"01.mp3\" MP3\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
          "FILE \"02.mp3\" MP3\n  TRACK 02 AUDIO\n    INDEX 01 00:00:00\n");
    Put("bad/1.flac", "tone.flac");
    Write("bad/1.cue",
          "FILE \"1.flac\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:50\n"
          "  TRACK 02 AUDIO\n    INDEX 01 00:00:20\n");
    const Ended run = Index();
    Expect(run, 0, "added 3, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_NE(run.err.find("bad/1.cue: not used, "), run.err.npos) << run.err;
    EXPECT_NE(run.err.find("album.cue: no use for its file \"album.wav\""), run.err.npos);
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual OR has_virtual"), "0");
    // A song beside a sheet that is not about it is not counted as changed.
    Put("split/03.mp3");
    Expect(Index(), 0, "added 1, changed 0, moved 0, removed 0, unchanged 3, failed 0");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 4, failed 0");
}

TEST_F(ScanTest, OfTwoSheetsOneIsUsed) {
    Put("album.flac", "tone.flac");
    Write("a.cue", Sheet("album.flac", "By name order"));
    Index();
    EXPECT_EQ(Value("SELECT title FROM track WHERE is_virtual AND track = 1"), "By name order");
    Write("album.flac.cue", Sheet("album.flac", "By its name"));
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Query("SELECT title FROM track WHERE is_virtual AND track = 1"),
              (Rows{{"By its name"}}));
}

// Whatever has become of the sheet: the tracks and their ratings stay until somebody says otherwise.
TEST_F(ScanTest, TracksStayWhileTheirSheetCannotBeUsed) {
    const std::string unchanged = "added 0, changed 0, moved 0, removed 0, unchanged 2, failed 0";
    Put("disc/album.flac", "tone.flac");
    Put("disc/other.mp3");
    Write("../disk/album.cue", Sheet("album.flac"));
    fs::create_symlink(scratch() / "disk/album.cue", Music() / "disc/album.cue");
    Index();
    Rate("is_virtual", 3);
    const auto tracks = [] { return Query("SELECT * FROM track WHERE is_virtual ORDER BY id"); };
    const Rows before = tracks();
    const auto stays = [&](const Ended &run, const std::string &reason) {
        EXPECT_NE(run.err.find("album.cue: " + reason), run.err.npos) << run.err;
        EXPECT_NE(run.err.find("album.flac: its tracks stay"), run.err.npos) << run.err;
        EXPECT_EQ(tracks(), before);
        EXPECT_EQ(Ratings().size(), 2U);
    };
    fs::rename(scratch() / "disk", scratch() / "unplugged");
    for (int i = 0; i < 2; ++i) {
        const Ended away = Index();
        Expect(away, 1, unchanged);
        stays(away, "not used, No such file");
    }
    fs::rename(scratch() / "unplugged", scratch() / "disk");
    Expect(Index(), 0, unchanged);
    Write("../disk/album.cue", "FILE album.flac WAVE\nTRACK 01 AUDIO\n  INDEX 01 rubbish\n");
    const Ended broken = Index();
    Expect(broken, 1, unchanged);
    stays(broken, "not used, ");
    Write("../disk/album.cue", Sheet("of another disc.flac"));
    Put("disc/album.mp3", "plain.mp3");  // the sheet's own name means two files now
    stays(Index(), "no use for its file");
    // The song goes on changing and moving with its tracks.
    fs::remove(Music() / "disc/album.mp3");
    fs::remove(scratch() / "disk/album.cue");
    EmbedSheet(Music() / "disc/album.flac", "");
    Expect(Index(), 1, "added 0, changed 1, moved 0, removed 1, unchanged 1, failed 0");
    fs::rename(Music() / "disc", Music() / "moved");
    Expect(Index(), 1, "added 0, changed 0, moved 2, removed 0, unchanged 0, failed 0");
    EXPECT_EQ(Ratings(), (Rows{{"moved/album.flac", "1", "3"}, {"moved/album.flac", "2", "3"}}));
    EXPECT_EQ(Value("SELECT count(*) FROM virtual_info_track WHERE cue_sheet_path = '" +
                    (Music() / "moved/album.cue").string() + "'"),
              "2");
    Expect(Index(), 1, unchanged);
    Write("../disk/album.cue", Sheet("album.flac", "Back"));
    Expect(Index(), 0, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Ratings().size(), 2U);
    EXPECT_EQ(Value("SELECT id FROM track WHERE title = 'Back'"), before.front().front());
    fs::remove(scratch() / "disk/album.cue");
    Expect(Index({"--purge"}), 0, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual OR has_virtual"), "0");
}

TEST_F(ScanTest, ASheetBesideASplitFileThatIsAboutOthersChangesNothing) {
    const fs::path embedded = Put("tagged/album.flac", "tone.flac");
    EmbedSheet(embedded, Sheet("x", "Inside"));
    Put("disc/album.ogg", "tone.ogg");
    Write("disc/album.cue", Sheet("album.ogg"));
    Index();
    const std::string unchanged = "added 0, changed 0, moved 0, removed 0, unchanged 2, failed 0";
    for (const char *name : {"disc/zzz.cue", "tagged/zzz.cue"}) {
        Write(name, "FILE nowhere.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n");
    }
    Expect(Index(), 0, unchanged);
    Expect(Index(), 0, unchanged);
    EmbedSheet(embedded, "FILE x WAVE\nTRACK 01 AUDIO\nTITLE broken\n");
    const Ended broken = Index();
    Expect(broken, 1, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE is_virtual"), "4");
    // An index that moves by less than a second is a change all the same.
    std::string sheet = Sheet("album.ogg");
    sheet.replace(sheet.find("00:00:50"), 8, "00:00:49");
    Write("disc/album.cue", sheet);
    Expect(Index(), 1, "added 0, changed 1, moved 0, removed 0, unchanged 1, failed 0");
}

TEST_F(ScanTest, ASheetWithoutSongsIsNamedOnce) {
    Put("here/1.mp3");
    Write("lone/album.cue", Sheet("album.wav"));
    Write("lone/bad.cue", "no sheet");
    const Ended first = Index();
    EXPECT_NE(first.err.find("lone/album.cue: no use for its file \"album.wav\""), first.err.npos);
    EXPECT_NE(first.err.find("lone/bad.cue: not used"), first.err.npos) << first.err;
    EXPECT_EQ(Index().err, "");
}

// The time of a folder grows with its songs and sheets, not with their product.
TEST_F(ScanTest, AFolderOfManySheetsAndFilesIsNoTrap) {
    std::string sheet;
    for (int i = 0; i < 450; ++i) {
        sheet += "FILE \"Missing " + std::to_string(i) +
                 ".wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\n"
                 "INDEX 01 00:00:01\n";
    }
    const fs::path song = Put("0.mp3");
    for (int i = 1; i < 3000; ++i) {
        fs::create_hard_link(song, Music() / ("Song " + std::to_string(i) + ".mp3"));
    }
    for (int i = 0; i < 1005; ++i) {
        Write(std::to_string(i) + ".cue", i < 30 ? sheet : "");
    }
    const auto start = std::chrono::steady_clock::now();
    const Ended run = Index({"-v"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    Expect(run, 0, "added 3000, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    for (const char *word : {"0.cue: no use for its file \"Missing 0.wav\" and 449 more",
                             "too many FILE lines", "only the first 1000 of its 1005 cue sheets"}) {
        EXPECT_NE(run.err.find(word), run.err.npos) << run.err.substr(0, 2000);
    }
}

TEST_F(ScanTest, AnEmbeddedSheetCountsWhereNoneIsBeside) {
    const fs::path path = Put("album.flac", "tone.flac");
    EmbedSheet(path, Sheet("CDImage.wav", "Inside"));
    Index();
    EXPECT_EQ(Query("SELECT title, cue_sheet_path FROM track t JOIN virtual_info_track v"
                    " ON v.track = id ORDER BY t.track"),
              (Rows{{"Inside", path.string()}, {"Two", path.string()}}));
    Write("album.cue", Sheet("album.flac", "Beside"));
    Index();
    EXPECT_EQ(Value("SELECT string_agg(title, ',' ORDER BY track) FROM track WHERE is_virtual"),
              "Beside,Two");
}

// Whatever the moment, what a killed scan leaves is a whole library, and the next scan makes of it
// what it would have been without the accident.
TEST_F(ScanTest, AKilledScanIsMadeUpForByTheNext) {
    constexpr int kSongs = 2500;
    const auto name = [](int i) {
        return "d" + std::to_string(i % 9) + "/" + std::to_string(i) + ".mp3";
    };
    for (int i = 0; i < kSongs; ++i) {
        PutTagged(name(i), "Song " + std::to_string(i), i % 2 == 0 ? "Rock;Pop" : "");
    }
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.flac"));
    Index();
    Rate("is_virtual OR title LIKE '%7'", 4);
    ForEveryTable("CREATE TABLE saved_%1$s AS SELECT %2$s FROM %1$s");
    fs::rename(Music() / "d1", Music() / "moved");
    fs::rename(Music() / "disc", Music() / "disc moved");
    for (int i = 0; i + 2 < kSongs; i += 18) {
        fs::remove(Music() / name(i));
        PutTagged(name(i + 2), "Changed " + std::to_string(i), "Jazz");
        PutTagged("new/" + name(i), "New " + std::to_string(i));
    }
    const auto start = std::chrono::steady_clock::now();
    Index();
    const auto whole = std::chrono::steady_clock::now() - start;
    const Rows expected = Content();
    for (int i = 0; i < 25; ++i) {
        ForEveryTable("DELETE FROM %1$s");
        ForEveryTable("INSERT INTO %1$s (%2$s) SELECT %2$s FROM saved_%1$s");
        const pid_t child = Start();
        std::this_thread::sleep_for(whole * i / 25);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        WaitForItsServerProcess();
        EXPECT_EQ(Value("SELECT count(*) FROM track LEFT JOIN album_track a ON a.track = id"
                        " WHERE a.track IS NULL"),
                  "0");
        const Ended next = Index();
        EXPECT_EQ(next.status, 0) << next.err;
        const Rows content = Content();
        ASSERT_EQ(content.size(), expected.size()) << "killed at " << i << "/25";
        for (std::size_t row = 0; row < content.size(); ++row) {
            ASSERT_EQ(content[row], expected[row]) << "killed at " << i << "/25";
        }
    }
}

// Readers see whole batches and wait for none.
TEST_F(ScanTest, TheLibraryIsReadWhileAScanRuns) {
    for (int i = 0; i < 4000; ++i) {
        PutTagged("d" + std::to_string(i % 20) + "/" + std::to_string(i) + ".mp3",
                  "Song " + std::to_string(i));
    }
    const pid_t child = Start();
    int pages = 0;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        const Rows page = Query(
            "SELECT t.id, a.track, r.track, g.track FROM track t"
            " LEFT JOIN album_track a ON a.track = id"
            " LEFT JOIN artist_track r ON r.track = id"
            " LEFT JOIN genre_track g ON g.track = id"
            " ORDER BY lower(title) LIMIT 100");
        for (const auto &row : page) {
            ASSERT_EQ(std::count(row.begin(), row.end(), row.front()), 4) << "a half-written song";
        }
        ++pages;
    }
    EXPECT_EQ(status, 0);
    EXPECT_GT(pages, 5);
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "4000");
}

TEST_F(ScanTest, GivenPathsAreThoseOfTheIndexedFolders) {
    Put("a/1.mp3");
    fs::create_directory_symlink(Music(), scratch() / "link");
    Expect(Index({(scratch() / "link/a").string()}), 0,
           "added 1, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    Expect(Index(), 0, "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
    for (const std::string &path : {scratch().string(), Music().string() + "/\xFF"}) {
        const Ended refused = Index({path});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(refused.err.find("database"), refused.err.npos) << refused.err;
    }
    EXPECT_EQ(Index({"--no-such-option"}).status, 2);
}

TEST_F(ScanTest, GivenPathsMeanWhatAScanOfEverythingMakesOfThem) {
    PutTagged("../disk/1.mp3", "First");
    PutTagged("real/2.mp3", "Second");
    PutTagged("#recycle/3.mp3", "Third");
    PutTagged("real/.4.mp3", "Fourth");
    for (const char *link : {"link1", "link2"}) {
        fs::create_directory_symlink(scratch() / "disk", Music() / link);
    }
    fs::create_directory_symlink("real", Music() / "same");
    Index();
    const Rows whole = Query("SELECT id, path FROM track ORDER BY path");
    ASSERT_EQ(whole.size(), 2U);
    for (const char *path : {"link2", "link2/1.mp3", "same", "same/2.mp3"}) {
        Expect(Index({(Music() / path).string()}), 0,
               "added 0, changed 0, moved 0, removed 0, unchanged 1, failed 0");
        EXPECT_EQ(Query("SELECT id, path FROM track ORDER BY path"), whole) << path;
    }
    for (const char *path : {"#recycle", "#recycle/3.mp3", "real/.4.mp3"}) {
        const Ended refused = Index({(Music() / path).string()});
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.err.find("is passed over"), refused.err.npos) << refused.err;
    }
    EXPECT_NE(Index({"inspect", (Music() / "#recycle/3.mp3").string()}).out.find("passed over"),
              std::string::npos);
    // A mount point with a stray file in it, where a disk is registered.
    fs::rename(Music(), scratch() / "away");
    fs::create_directory(Music());
    std::ofstream(Music() / "README.txt") << "mount the disk here";
    const Ended unmounted = Index();
    Expect(unmounted, 1, "added 0, changed 0, moved 0, removed 0, unchanged 0, failed 0");
    EXPECT_NE(unmounted.err.find("neither music nor a folder is in it; its songs stay in the"),
              unmounted.err.npos)
        << unmounted.err;
    EXPECT_EQ(Query("SELECT id, path FROM track ORDER BY path"), whole);
}

TEST(Folders, OwnersAndWhatToWalk) {
    const fs::path base = fs::temp_directory_path();  // the nearest folder that exists
    const std::string top = base.string();
    const varnindex::Folders folders({top, top + "/none/shared//x/"}, {{top + "/none/home", 7}},
                                     {8});
    EXPECT_EQ(folders.Roots(), std::vector<std::string>{top});
    EXPECT_EQ(folders.OwnerOf(top + "/none/home"), 7U);
    EXPECT_EQ(folders.OwnerOf(top + "/none/home/a/b"), 7U);
    EXPECT_EQ(folders.OwnerOf(top + "/none/homes"), 0U);
    EXPECT_EQ(folders.Of("/"), nullptr);
    EXPECT_TRUE(folders.IsUnseen(8));
    EXPECT_FALSE(folders.IsUnseen(0));
    using Paths = std::vector<std::string>;
    EXPECT_EQ(FoldersToWalk(folders, {top + "/none/a/b.mp3"}), Paths{top});
    EXPECT_EQ(FoldersToWalk(folders, {top + "/none/home/b.mp3"}), Paths{top + "/none/home"});
    EXPECT_EQ(FoldersToWalk(folders, {"/nowhere/at/all"}), Paths{"/nowhere/at/all"});
}

}  // namespace
