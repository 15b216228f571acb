#include "varnindex/read/cue.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "varn/text.h"
#include "varnindex/read/audio_names.h"
#include "varnindex/read/names.h"
#include "varnindex/read/split.h"

namespace {

using namespace std::string_literals;
using namespace varnindex;
using varn::ToUtf8;

// The sheet, shortened to what a test compares: "file: number title/performer/composer@start; ...".
std::string Shown(const CueResult &result) {
    if (!result.sheet) {
        return "refused: " + result.problem;
    }
    std::string shown;
    for (const CueFile &file : result.sheet->files) {
        shown += (shown.empty() ? "" : " | ") + file.name + ":";
        for (const CueTrack &track : file.tracks) {
            shown += ' ' + std::to_string(track.number) + ' ' + track.title + '/' +
                     track.performer + '/' + track.composer + '@' + std::to_string(track.start);
        }
    }
    return shown;
}

std::string Shown(std::string_view sheet) {
    return Shown(ParseCue(sheet));
}

// An encoder that is not the decoder under test.
std::string Encoded(const std::string &utf8, const char *encoding) {
    const iconv_t handle = iconv_open(encoding, "UTF-8");
    std::string from = utf8;
    std::string to(4 * utf8.size() + 8, '\0');
    char *in = from.data();
    char *out = to.data();
    std::size_t inLeft = from.size();
    std::size_t outLeft = to.size();
    EXPECT_EQ(iconv(handle, &in, &inLeft, &out, &outLeft), 0U) << encoding << ": " << utf8;
    iconv_close(handle);
    to.resize(to.size() - outLeft);
    return to;
}

const std::string kRipped =
    "REM GENRE \"Progressive Rock\"\r\n"
    "REM DATE 1973-03-01\r\n"
    "REM DISCID 8A0B1C0A\r\n"
    "REM COMMENT \"Extracted with care\"\r\n"
    "CATALOG 0724382975229\r\n"
    "PERFORMER \"The Band\"\r\n"
    "SONGWRITER \"Waters\"\r\n"
    "TITLE \"The \"White\" Album\"\r\n"
    "FILE \"The Band - Album.wav\" WAVE\r\n"
    "  TRACK 01 AUDIO\r\n"
    "    TITLE \"Speak\"\r\n"
    "    FLAGS DCP\r\n"
    "    ISRC GBAYE7300001\r\n"
    "    REM GENRE \"of the track alone\"\r\n"
    "    INDEX 01 00:00:00\r\n"
    "  TRACK 02 AUDIO\r\n"
    "    TITLE \"Time\"\r\n"
    "    PERFORMER \"A Guest\"\r\n"
    "    SONGWRITER \"Mason\"\r\n"
    "    PREGAP 00:02:00\r\n"
    "    INDEX 00 04:00:10\r\n"
    "    INDEX 01 04:02:33\r\n"
    "    INDEX 02 05:00:00\r\n"
    "  TRACK 03 MODE1/2352\r\n"
    "    TITLE \"video\"\r\n"
    "    INDEX 01 10:00:00\r\n";

const std::string kOneTrack = "TRACK 01 AUDIO\nINDEX 01 00:00:00\n";
const std::string kOneFile = "FILE \"a.wav\" WAVE\n";

TEST(Cue, ReadsWhatARipperWrites) {
    const CueResult result = ParseCue(kRipped);
    ASSERT_TRUE(result.sheet) << result.problem;
    EXPECT_EQ(result.sheet->title, "The \"White\" Album");
    EXPECT_EQ(result.sheet->performer, "The Band");
    EXPECT_EQ(result.sheet->genre, "Progressive Rock");
    EXPECT_EQ(result.sheet->comment, "Extracted with care");
    EXPECT_EQ(result.sheet->year, 1973);
    const std::string tracks = "The Band - Album.wav: 1 Speak//Waters@0 2 Time/A Guest/Mason@18183";
    EXPECT_EQ(Shown(result), tracks);

    std::string oldLines = kRipped;
    std::erase(oldLines, '\n');
    EXPECT_EQ(Shown(oldLines), tracks);
    for (const auto &[mark, encoding] : {std::pair{"\xEF\xBB\xBF"s, "UTF-8"},
                                         {"\xFF\xFE"s, "UTF-16LE"},
                                         {"\xFE\xFF"s, "UTF-16BE"}}) {
        EXPECT_EQ(Shown(mark + Encoded(kRipped, encoding)), tracks) << encoding;
    }
}

TEST(Cue, TracksBelongToTheFileOfTheirStart) {
    const std::string gapsInTheFileBefore =
        "FILE \"1.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"
        "TRACK 02 AUDIO\nINDEX 00 04:00:00\nFILE \"2.wav\" WAVE\nINDEX 01 00:00:00\n"
        "TRACK 03 AUDIO\nINDEX 00 03:00:00\nFILE \"3.wav\" WAVE\nINDEX 01 00:00:00\n"
        "TRACK 04 AUDIO\nINDEX 01 00:10:00\n";
    EXPECT_EQ(Shown(gapsInTheFileBefore), "1.wav: 1 //@0 | 2.wav: 2 //@0 | 3.wav: 3 //@0 4 //@750");
    EXPECT_EQ(Shown("FILE data.bin BINARY\nTRACK 01 MODE2/2352\nINDEX 01 00:00:00\n"
                    "FILE \"a.wav\" WAVE\nTRACK 02 AUDIO\nINDEX 01 00:00:00\n"),
              "a.wav: 2 //@0");
    EXPECT_EQ(Shown(kOneFile + kOneTrack + kOneFile + "TRACK 02 AUDIO\nINDEX 01 01:00:00\n"),
              "a.wav: 1 //@0 2 //@4500");
}

TEST(Cue, ReadsWhatPeopleWrite) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"file a.flac flac\n track 1 audio\n\ttitle bare words\n index 1 0:0:0",
         "a.flac: 1 bare words//@0"},
        {"FILE my own song.wav WAVE\n" + kOneTrack, "my own song.wav: 1 //@0"},
        {"FILE \"open.wav WAVE\nTRACK 01 AUDIO\nTITLE \"open too\nPERFORMER shut\"\n"
         "INDEX 01 120:00:00\n",
         "open.wav: 1 open too/shut\"/@540000"},
        {"PICTURE front.jpg\n\x01\x02\n" + kOneFile + "BOGUS\n" + kOneTrack, "a.wav: 1 //@0"},
        {kOneFile + "TRACK 01 AUDIO\nTITLE \"a\0b\"\nINDEX 01 00:00:00"s, "a.wav: 1 a b//@0"},
        {"TITLE \"" + std::string(65536, 'x') + "\"\n" + kOneFile + kOneTrack, "a.wav: 1 //@0"},
    };
    for (const auto &[sheet, shown] : cases) {
        EXPECT_EQ(Shown(sheet), shown);
    }

    for (const auto &[date, year] : {std::pair{"\"1998\"", 1998},
                                     {"01.05.2001", 2001},
                                     {"98", 0},
                                     {"19980501", 0},
                                     {"", 0},
                                     {"1 / 1998", 1998}}) {
        const auto dated = ParseCue("REM DATE "s + date + "\n" + kOneFile + kOneTrack);
        ASSERT_TRUE(dated.sheet);
        EXPECT_EQ(dated.sheet->year, year) << date;
    }
}

TEST(Cue, RefusesWithAReason) {
    const std::string second = kOneFile + kOneTrack + "TRACK 02 AUDIO\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "no FILE line"},
        {std::string(100, '\0'), "no FILE line"},
        {std::string(kMaxCueBytes + 1, '\n'), "larger than 1 MiB"},
        {kOneTrack, "track 1 has no FILE line before it"},
        {kOneFile, "no TRACK line"},
        {"FILE \"\" WAVE\n", "line 1: FILE without a name"},
        {second + "INDEX 01 01:00:00\nFILE b.wav WAVE\n" + kOneFile,
         "line 7: a FILE that was left comes again"},
        {kOneFile + "TRACK 01 MODE1/2352\nINDEX 01 00:00:00\n", "no audio track"},
        {kOneFile + "TRACK one AUDIO\n", "line 2: TRACK without a number up to 999"},
        {kOneFile + "INDEX 01 00:00:00\n", "line 2: INDEX without a TRACK line before it"},
        {second, "track 2 has no INDEX 01"},
        {second + "INDEX 01 00:00:00\n", "track 2 does not begin after track 1"},
        {second + "INDEX 01 01:00:00\nTRACK 03 AUDIO\nINDEX 01 00:59:74\n",
         "track 3 does not begin after track 2"},
        {second + "INDEX 01 01:00:00\nINDEX 01 02:00:00\n", "track 2 has two INDEX 01"},
    };
    for (const auto &[sheet, problem] : cases) {
        EXPECT_EQ(Shown(sheet), "refused: " + problem);
    }
    for (const std::string index :
         {"01", "01 00:00", "01 00:60:00", "01 00:00:75", "01 10000:00:00", "01 -1:00:00",
          "01 4294967296:00:00", "01 99999999999:00:00", "4294967297 01:00:00", "-1 01:00:00",
          "100 01:00:00", "01 01:00:00x", "01 ::", "x 01:00:00"}) {
        EXPECT_EQ(Shown(second + "INDEX " + index + "\n"),
                  "refused: track 2 has an INDEX that is no number and time")
            << index;
    }
    std::string rising = kOneFile;
    for (int i = 0; i < 1000; ++i) {
        rising += "TRACK 01 AUDIO\nINDEX 01 " + std::to_string(i) + ":00:00\n";
    }
    EXPECT_EQ(Shown(rising), "refused: more than 999 tracks");
}

// Often the performer is the only name in a sheet that is not English.
TEST(Charset, OneNameTellsItsCodePage) {
    const std::vector<std::pair<const char *, std::string>> pages = {
        {"CP1252",
         "Björk|Motörhead|Françoise Hardy|Où va la nuit|Für Elise|Beyoncé|Ágætis byrjun|"
         "João Gilberto|È la vita|Così fan tutte|Noël|Trentemøller|Måns|Ænima|El Niño|"
         "Une idée créée|Don’t Stop|Rock ’n’ Roll|“Heroes” – Live|© 1998|Hääyö|Jäääär|Größe|"
         "Noè, mon frère"},
        {"CP1250", "Antonín Dvořák|Česká filharmonie|Příliš žluťoučký kůň|Łódź|Miłość"},
        {"CP1251", "Кино|ДДТ|АКВАРИУМ|Закрой за мной дверь, я ухожу|Океан Ельзи"},
        {"CP1253", "Μίκης Θεοδωράκης|Το γελαστό παιδί"},
        {"CP932", "椎名林檎|宇多田ヒカル|オートマチック|坂本龍一|千と千尋の神隠し"},
        {"GBK", "周杰伦|王菲|邓丽君|月亮代表我的心"},
        {"BIG5", "周杰倫|王菲|鄧麗君|陳奕迅"},
        {"CP949", "소녀시대|김광석|다시 만난 세계|아이유"},
    };
    for (const auto &[page, names] : pages) {
        std::istringstream each(names);
        for (std::string name; std::getline(each, name, '|');) {
            const std::string sheet = "PERFORMER \"" + name + "\"\n" + kOneFile + kOneTrack;
            EXPECT_EQ(ToUtf8(Encoded(sheet, page)), sheet) << page;
        }
    }
}

TEST(Charset, EveryTextBecomesUtf8) {
    const std::string text = "une chanson d'été à Orléans, déjà écoutée là-bas, où rêvé\n";
    EXPECT_EQ(ToUtf8(text + "\xC3"), text + "\uFFFD");  // a file that was cut
    EXPECT_EQ(ToUtf8("\xEF\xBB\xBF"
                     "a\xFF"),
              "a\uFFFD");
    EXPECT_EQ(ToUtf8("\xFF\xFE"
                     "a\0\x34\xD8\x1E\xDD!"s),
              "a\U0001D11E\uFFFD");
    EXPECT_EQ(ToUtf8("a\r\r\nb\n\rc\r"), "a\n\nb\n\nc\n");
    EXPECT_EQ(ToUtf8(""), "");
    std::string all;
    for (int byte = 255; byte >= 0; --byte) {
        all += static_cast<char>(byte);
        EXPECT_TRUE(varn::IsUtf8(ToUtf8(all))) << byte;
    }
}

Song ImageFile() {
    Song file;
    file.path = "/music/image.flac";
    file.title = "whole file";
    file.titleSort = "whole file";
    file.artist = "The File";
    file.artistSort = "File, The";
    file.albumArtist = "Everybody";
    file.album = "File's album";
    file.genres = {"Jazz"};
    file.comment = "of the file";
    file.year = 2001;
    file.disc = 2;
    file.duration = 100.5F;
    return file;
}

const std::string kThree =
    "FILE i.wav WAVE\nTRACK 01 AUDIO\nTITLE \"The One\"\nINDEX 01 00:00:00\nTRACK 02 AUDIO\n"
    "PERFORMER \"A Guest\"\nINDEX 01 00:20:74\nTRACK 03 AUDIO\nINDEX 01 01:40:00\n";

TEST(Split, TracksTakeTagsFromTheSheetAndThenFromTheFile) {
    const auto shown = [](const std::string &lines, std::size_t index) {
        const auto split = SplitSong(ImageFile(), *ParseCue(lines + kThree).sheet, 0, "").songs;
        const Song song = split.at(index).song;
        return song.title + '|' + song.titleSort + '|' + song.artist + '|' + song.artistSort + '|' +
               song.albumArtist + '|' + song.album + '|' + JoinGenres(song.genres) + '|' +
               song.comment + '|' + std::to_string(song.year) + '|' + std::to_string(song.track) +
               '|' + std::to_string(song.disc);
    };
    EXPECT_EQ(shown("", 0),
              "The One|One|The File|File, The|Everybody|File's album|Jazz|"
              "of the file|2001|1|2");
    EXPECT_EQ(shown("", 1),
              "Track 02|Track 02|A Guest|Guest|Everybody|File's album|Jazz|"
              "of the file|2001|2|2");
    EXPECT_EQ(shown("TITLE \"An Album\"\nPERFORMER \"The Band\"\nREM GENRE \"Rock; Pop\"\n"
                    "REM DATE 1999\nREM COMMENT c\n",
                    0),
              "The One|One|The Band|Band|The Band|An Album|Rock, Pop|c|1999|1|2");
}

TEST(Split, TracksLieWithinTheFile) {
    using Spans = std::vector<std::pair<int, float>>;  // offset, duration
    const CueSheet sheet = *ParseCue(kThree).sheet;
    const auto spans = [&](float duration) {
        Song file = ImageFile();
        file.duration = duration;
        Spans all;
        for (const VirtualSong &song : SplitSong(file, sheet, 0, "").songs) {
            all.emplace_back(song.offset, song.song.duration);
        }
        return all;
    };
    constexpr double kBegin = 20 + 74 / 75.0;  // of the second song
    constexpr auto kFirst = static_cast<float>(kBegin);
    constexpr auto kSecond = static_cast<float>(100 - kBegin);
    EXPECT_EQ(spans(100.5F), (Spans{{0, kFirst}, {20, kSecond}, {100, 0.5F}}));
    EXPECT_EQ(spans(100), (Spans{{0, kFirst}, {20, kSecond}}));
    EXPECT_EQ(spans(10), (Spans{{0, 10}}));
    EXPECT_EQ(spans(0), (Spans{{0, kFirst}, {20, kSecond}, {100, -100}}));
    EXPECT_EQ(spans(-1), spans(0));
    EXPECT_TRUE(SplitSong(ImageFile(), sheet, 1, "").songs.empty());
    Song half = ImageFile();
    half.duration = 10;
    EXPECT_EQ(SplitSong(half, sheet, 0, "").behindEnd, (std::vector<int>{2, 3}));
}

TEST(AudioNames, FindTheFileUnderItsOtherNames) {
    struct Case {
        std::string entry;
        std::vector<std::string> names;
        std::string found;  // "": none
    };
    const std::vector<Case> cases = {
        {"a.wav", {"A.wav", "a.wav", "a.flac"}, "a.wav"},
        {"D:\\Rips\\New\\a.wav", {"a.wav"}, "a.wav"},
        {"AC\\DC.wav", {"DC.wav", "AC\\DC.wav"}, "AC\\DC.wav"},
        {"ÄRGER.WAV", {"b.wav", "ärger.wav"}, "ärger.wav"},
        {"Bjo\u0308rk.wav", {"Bj\u00F6rk.wav"}, "Bj\u00F6rk.wav"},
        {"BJ\u00D6RK.wav", {"bjo\u0308rk.flac"}, "bjo\u0308rk.flac"},
        {"Björk - Début.wav", {"Bj\xF6rk - D\xE9"s + "but.wav"}, "Bj\xF6rk - D\xE9"s + "but.wav"},
        {"a.wav", {"A.WAV", "a.Wav", "a.flac"}, ""},  // two of the same rank
        {"a.wav", {"b.flac", "A.flac"}, "A.flac"},
        {"a.wav", {"a.flac", "a.mp3"}, ""},
        {"01. Intro", {"01. Intro.flac"}, "01. Intro.flac"},
        {"Vol. 1", {"Vol. 2.flac"}, ""},
        {"Range.wav", {"album.flac", "b.flac"}, "album.flac"},
        {"Range.wav", {"Album.flac", "album.mp3"}, ""},
        {"..\\", {"b.flac"}, ""},
        {"", {}, ""},
    };
    for (const Case &row : cases) {
        EXPECT_EQ(AudioNames(row.names).Find(row.entry, "album.cue").value_or(""), row.found)
            << row.entry << ", " << row.names.size();
    }
    EXPECT_EQ(AudioNames({"x.flac"}).Find("Range.wav", "x.flac.cue").value_or(""), "x.flac");
}

}  // namespace
