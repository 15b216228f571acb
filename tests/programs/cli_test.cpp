#include <unistd.h>

#include <clocale>
#include <cwchar>
#include <sstream>

#include "programs/command.h"
#include "support/fixture.h"
#include "varn/host.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

class CommandLineTest : public DatabaseTest {
  protected:
    static TrackRow Track(int id, const std::string &title) {
        return {.id = id, .path = "/music/" + std::to_string(id), .title = title};
    }
    static void Store(const TrackRow &row) { Query(InsertSql(row)); }

    // The titles of the songs that the arguments list.
    static std::vector<std::string> Titles(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"songs", "--json"});
        return Each(JsonOf(arguments)["songs"], "title");
    }
};

TEST_F(CommandLineTest, RefusalsNameTheMistake) {
    ExpectSayings({
        {{"songs", "--help"}, 0, "--sort-direction"},
        {{"--version"}, 0, "tonvale 0."},
        {{}, 2, "name what to do"},
        {{"sing"}, 2, "tonvale: The following argument was not expected: sing; 'tonvale --help'"},
        {{"songs", "--library", "mine"}, 2, "virtual_shared"},
        {{"songs", "--user", "nobody"}, 2, "admin, guest, Tonvale, alice, bob"},
        {{"songs", "--limit", "0x10"}, 2, "from 0 to 2147483647"},
        {{"songs", "--offset", "2147483648"}, 2, "from 0 to 2147483647"},
        {{"songs", "--title", "caf\xE9"}, 2, "UTF-8"},
        {{"songs", "--sort-by", "random", "--artist", "A"}, 2, "no filter"},
        {{"songs", "--additional", "song_tag"}, 2, "--json"},
        {{"player", "sing"}, 2, "required; 'sing' is not known; 'tonvale player --help'"},
        {{"player", "info"}, 1, "varnplayer"},
        {{"player", "play", "-1"}, 2, "from 0 to 2147483647"},
        {{"speaker"}, 2, "host"},
        {{"soundcard", "store"}, 1, "no volume to take over"},
        {{"songs", "--root", ""}, 2, "root"},
        {{"songs", "--root", "/nonexistent"}, 1, "run 'tonvale init --root /nonexistent'"},
        {{"stop", "--root", "/nonexistent"}, 1, "no database of its own"},
        {{"init", "--database", "external"}, 1, "has a database of its own already"},
        {{"init", "--music", "/nonexistent"}, 1, "/nonexistent"},
    });
}

TEST_F(CommandLineTest, FiltersMatchHostileTextAndNothingElse) {
    const std::string hostile = "O'Br%_\\ @VARN:VAR '; DROP TABLE track; -- \"x\" %s Ænima’ 静か";
    for (int id = 0; const std::string &text : {hostile, std::string("O'Brxy")}) {
        TrackRow row = Track(++id, text);
        row.album = row.artist = row.album_artist = row.composer = text;
        row.genres = {text, "Other"};
        Store(row);
    }
    for (const char *filter :
         {"--title", "--artist", "--album", "--album-artist", "--composer", "--genre"}) {
        EXPECT_EQ(Titles({filter, hostile}), std::vector{hostile}) << filter;
    }
    EXPECT_EQ(Titles({"--artist", "o'bRXY", "--title", "'br", "--genre", "Other"}),
              Words("O'Brxy"));
}

TEST_F(CommandLineTest, ATableStaysAlignedAndSendsNoControlCharacters) {
    constexpr char kWild[] = "\x1B[2J\r\n\t\xE2\x80\xAE";
    // The third has a combining accent. The last would clear the screen and reverse the text.
    for (int id = 0; const char *title : {"plain", "静かな夜", "e\xCC\x81", kWild}) {
        TrackRow row = Track(++id, title);
        row.artist = "Artist";
        Store(row);
    }
    const Finished songs = Tonvale({"songs"});
    ASSERT_EQ(songs.status, 0) << songs.err;
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    std::istringstream lines(songs.out);
    int rows = 0;
    std::string head;
    std::getline(lines, head);
    for (std::string line; std::getline(lines, line) && !Contains(line, " of ");) {
        ++rows;
        const std::size_t at = line.find("Artist");
        ASSERT_NE(at, std::string::npos) << line;
        wchar_t wide[256];
        const std::size_t length = std::mbstowcs(wide, line.substr(0, at).c_str(), 256);
        EXPECT_EQ(wcswidth(wide, length), static_cast<int>(head.find("ARTIST"))) << line;
    }
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(songs.out.find_first_of("\x1B\r\t"), std::string::npos);
    EXPECT_FALSE(Contains(songs.out, "\xE2\x80\xAE"));
    // JSON keeps them.
    EXPECT_EQ(Titles({"--title", "[2J"}), std::vector<std::string>{kWild});
}

TEST_F(CommandLineTest, StartsADatabaseThatIsStopped) {
    Store(Track(1, "t"));
    ASSERT_EQ(Tonvale({"stop"}).status, 0);
    const Finished first = Tonvale({"songs"});
    EXPECT_EQ(first.status, 0) << first.err;
    ExpectSaid(first, "'tonvale stop --root " + root().string() + "' stops it");
    EXPECT_TRUE(first.out.ends_with("1-1 of 1 track\n")) << first.out;
    const Finished second = Tonvale({"songs"});
    EXPECT_EQ(second.err, "");
    EXPECT_EQ(second.out, first.out);
    EXPECT_EQ(Tonvale({"start"}).status, 0);
}

TEST_F(CommandLineTest, TheProgramOfTheReadmeListsAnArtistsSongs) {
    TrackRow row = Track(1, "ours");
    row.artist = "O'Brien & Sons";
    Store(row);
    Store(Track(2, "another's"));
    const Finished list = Command({row.artist}, "", "readme-artist").Wait();
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, "ours\n");
}

TEST_F(CommandLineTest, TellsWhenItsOutputIsLost) {
    Store(Track(1, "t"));
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"songs"}, {"songs", "--json"}, {"--help"}}) {
        const Finished full = Command(arguments, "/dev/full").Wait();
        EXPECT_EQ(full.status, 1);
        ExpectSaid(full, "No space left on device");
    }
}

TEST_F(CommandLineTest, IndexBecomesTheIndexer) {
    const fs::path music = scratch() / "music";
    fs::create_directory(music);
    ASSERT_EQ(Tonvale({"init", "--music", music}).status, 0);
    const Finished index = Tonvale({"index"});
    EXPECT_EQ(index.status, 0) << index.err;
    EXPECT_NE(Tonvale({"index", scratch() / "missing"}).status, 0);
    // A root may belong to another account: a program in it is not run.
    fs::remove(At(varn::path::kIndexer));
    WriteFile(varn::path::kIndexer, "#!/bin/sh\ntouch " + (scratch() / "was run").string() + "\n");
    fs::permissions(At(varn::path::kIndexer), fs::perms::all);
    EXPECT_EQ(Tonvale({"index", "--verbose", "--", music}).status, 0);
    EXPECT_FALSE(fs::exists(scratch() / "was run"));
    const Finished dashes = Tonvale({"index", "--", "--verbose"});
    ExpectSaid(dashes, "--verbose is in no indexed folder");
}

}  // namespace

}  // namespace tonvale_test
