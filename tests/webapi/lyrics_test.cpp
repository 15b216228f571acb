// The lyrics of songs, from their tags and from files beside them.
#include "service/songs/lyrics_text.h"
#include "varnindex/samples.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

// Adds a line to "LANGUAGE 1200:one|two", where "1200:" is a time.
void AddLine(std::string &text, std::optional<int64_t> start, const std::string &line) {
    text += (text.back() == ' ' ? "" : "|") + (start ? std::to_string(*start) + ":" : "") + line;
}

TEST(LyricsText, ReadsLinesAndTimes) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "und "},
        {"one\n\ntwo\n\n", "und one||two"},
        {"[Chorus]\nla: [x]", "und [Chorus]|la: [x]"},
        {"[ti:T]\n[la: de]\n[00:02.5]two\n[0:01]one \nnot timed", "de 1000:one|2500:two"},
        {"[00:01.20][01:00.123]<00:01.20>a <00:02:10>b <3", "und 1200:a b <3|60123:a b <3"},
        {"[offset:+500]\n[00:00.10]a\n[00:01.00][live] b", "und 0:a|500:[live] b"},
        {"[99999999999:00]x\n[00:1x]y\n[00:", "und [99999999999:00]x|[00:1x]y|[00:"},
        {"[offset:x]\n[00:01.0000]z", "und [00:01.0000]z"},
    };
    for (const auto &[text, expected] : cases) {
        const auto lyrics = tonvale_service::ParseLyrics(text);
        std::string written = lyrics.language + " ";
        for (const auto &line : lyrics.lines) {
            AddLine(written, line.start, line.text);
        }
        EXPECT_EQ(written, expected) << text;
    }
    std::string many;
    for (int time = 0; time < 20'000; ++time) {
        many += "[00:01]";
    }
    EXPECT_LT(tonvale_service::ParseLyrics(many + std::string(100'000, 'x')).lines.size(), 100U);
}

class LyricsApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
        fs::create_directories(music());
        fs::permissions(scratch(), fs::perms::others_exec, fs::perm_options::add);
    }
    static fs::path music() { return scratch() / "O'B 100%"; }

    static void AddSong(int id, const fs::path &path, unsigned user = 0) {
        Query(InsertSql(TrackRow{.id = id, .userid = user, .path = path}));
    }

    static Texts Lyrics(const std::string &id, const std::string &user = "alice") {
        Texts all;
        const Json::Value data = Ask("Song/lyrics", {{"id", id}}, user);
        for (const Json::Value &lyrics : data["lyrics"]) {
            all.push_back(lyrics["language"].asString() + " ");
            for (const Json::Value &line : lyrics["lines"]) {
                const bool isTimed = line.isMember("start");
                EXPECT_EQ(isTimed, lyrics["timed"].asBool());
                AddLine(all.back(), isTimed ? std::optional(line["start"].asInt64()) : std::nullopt,
                        line["text"].asString());
            }
        }
        return all;
    }

    // An ID3v2.3 tag of one frame (id3.org, 2.3.0), before a song.
    static void PutFrame(const fs::path &song, const std::string &name, const std::string &bytes) {
        const auto size = [](std::size_t number, unsigned bits) {
            std::string text;
            for (const unsigned place : {3U, 2U, 1U, 0U}) {
                text += static_cast<char>(number >> (bits * place) & ((1U << bits) - 1));
            }
            return text;
        };
        const std::string sound = ReadFile(Samples() / "plain.mp3");
        Touch(song, std::string("ID3\3\0\0", 6) + size(bytes.size() + 10, 7) + name +
                        size(bytes.size(), 8) + std::string(2, '\0') + bytes + sound);
    }
};

TEST_F(LyricsApi, ReadsTagsOfEachFormat) {
    const std::pair<const char *, const char *> formats[] = {{"a.mp3", "Grün|b"},
                                                             {"a.flac", "Grün|b"},
                                                             {"a.ogg", "1500:Grün|2000:b"},
                                                             {"a.m4a", "Grün|b"}};
    int id = 0;
    for (const auto &[name, lines] : formats) {
        const bool isTimed = std::string_view(lines).starts_with('1');
        Ffmpeg({"-i", Samples() / "plain.mp3", "-metadata",
                isTimed ? "LYRICS=[00:01.50]Grün\n[00:02]b" : "lyrics=Grün\nb", music() / name});
        AddSong(++id, music() / name);
        EXPECT_EQ(Lyrics("music_" + std::to_string(id)), Texts{"und " + std::string(lines)})
            << name;
    }
    PutFrame(music() / "t.mp3", "USLT", std::string("\3deu\0Grün\nb", 12));
    AddSong(++id, music() / "t.mp3");
    EXPECT_EQ(Lyrics("music_5"), Texts{"deu Grün|b"});
    const std::string timed("\0eng\2\1\0One\0\0\0\3\xE8Two\0\0\0\7\xD0", 23);
    PutFrame(music() / "t.mp3", "SYLT", timed);
    EXPECT_EQ(Lyrics("music_5"), Texts{"eng 1000:One|2000:Two"});
    // Damaged tags and damaged files have none.
    for (const std::size_t cut : {4U, 9U, 17U}) {
        PutFrame(music() / "t.mp3", "SYLT", timed.substr(0, cut));
        EXPECT_TRUE(Lyrics("music_5").size() < 2) << cut;
    }
    Touch(music() / "t.mp3", "no song");
    EXPECT_EQ(Lyrics("music_5"), Texts());
}

TEST_F(LyricsApi, ReadsFilesBesideTheSong) {
    Ffmpeg({"-i", Samples() / "plain.mp3", "-metadata", "lyrics=tagged", music() / "a.b.mp3"});
    AddSong(1, music() / "a.b.mp3");
    Touch(music() / "a.b.txt", "caf\xE9\r\nnoir");
    const Texts all = {"und 1000:\xC3\xA9", "und tagged", "und café|noir"};
    Touch(music() / "a.b.lrc", {"\xFF\xFE[\0"
                                "0\0:\0"
                                "0\0"
                                "1\0]\0\xE9\0",
                                16});
    EXPECT_EQ(Lyrics("music_1"), all);
    // Files outside of the music, large ones, and those of mode 0640 are left out.
    fs::remove(music() / "a.b.lrc");
    Touch(scratch() / "private", "secret");
    fs::create_symlink(scratch() / "private", music() / "a.b.lrc");
    Touch(music() / "a.b.txt", std::string(tonvale_service::kMostLyricsBytes + 1, 'x'));
    EXPECT_EQ(Lyrics("music_1").size(), 1U);
    if (IsRoot()) {
        Touch(music() / "a.b.txt", "secret");
        ASSERT_EQ(chown((music() / "a.b.txt").c_str(), kBob, 0), 0);
        fs::permissions(music() / "a.b.txt", fs::perms(0640));
        EXPECT_EQ(Lyrics("music_1").size(), 1U);
    }
}

TEST_F(LyricsApi, ShowsPersonalLyricsToTheirOwnerAlone) {
    const fs::path hers = root() / "volume1/homes/alice/music/a.mp3";
    Touch(hers, ReadFile(Samples() / "plain.mp3"));
    Touch(fs::path(hers).replace_extension(".txt"), "hers");
    if (IsRoot()) {
        ASSERT_EQ(chown(hers.c_str(), kAlice, 0), 0);
        ASSERT_EQ(chown(fs::path(hers).replace_extension(".txt").c_str(), kAlice, 0), 0);
    }
    AddSong(1, hers, kAlice);
    EXPECT_EQ(Lyrics("music_p_1"), Texts{"und hers"});
    EXPECT_EQ(CodeOf("Song/lyrics?id=music_p_1", {}, "bob"), 404);
    fs::remove(hers);
    EXPECT_EQ(CodeOf("Song/lyrics?id=music_p_1"), 404);
}

}  // namespace
