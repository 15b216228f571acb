// VARN.Tonvale.Cover through the CGI environment.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include "misc/pictures.h"
#include "support/scripted_http.h"
#include "varnindex/samples.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

constexpr char kJpeg[] = "\xFF\xD8\xFF\xE0 one";
constexpr char kPng[] = "\x89PNG\r\n\x1A\n two";

struct Answer {
    std::string header, body;

    bool Has(const std::string &line) const { return Contains("\r\n" + header, "\r\n" + line); }
    std::string Field(const std::string &name) const { return FieldOf(header, name); }
};

class CoverApi : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    }

    // Alice's request for what `rest` names, with more variables of a web server.
    static Answer Get(const std::string &rest, const Variables &more = {}) {
        const std::string text = GetCgi("version=1&api=VARN.Tonvale.Cover&method=get" + rest, more);
        return {text.substr(0, text.find("\r\n\r\n") + 2), BodyOf(text)};
    }
    static std::string Body(const std::string &rest) { return Get(rest).body; }
    static bool Is(const Answer &answer, const char *status) {
        return answer.Has("Status: " + std::string(status) + " ");
    }

    // A song that all users share or one user owns. Its file may be missing.
    static void AddSong(int id, const fs::path &path, const std::string &album = "",
                        unsigned user = 0) {
        fs::create_directories(path.parent_path());
        TrackRow row = {.id = id, .userid = user, .path = path, .album = album, .track = id};
        row.album_artist = "A'B";
        Query(InsertSql(row));
    }

    static bool IsDefault(const Answer &answer) {
        return Is(answer, "200") && answer.Has("Content-Type: image/svg+xml\r\n") &&
               answer.body.starts_with("<svg ") && answer.body.ends_with("</svg>\n");
    }
};

TEST_F(CoverApi, TellsThePicturesTypeByItsBytes) {
    const fs::path music = scratch() / "O'B 100%";
    AddSong(1, music / "a.mp3");
    EXPECT_TRUE(IsDefault(Get("&id=music_1")));
    const std::pair<std::string, const char *> cases[] = {
        {kJpeg, "jpeg"},
        {kPng, "png"},
        {"GIF89a three", "gif"},
        {"BM four", "bmp"},
        {std::string("RIFF\0\0\0\0WEBPVP8 ", 16), "webp"}};
    for (const auto &[bytes, type] : cases) {
        Touch(music / "cover.jpg", bytes);
        const Answer answer = Get("&id=music_1");
        EXPECT_TRUE(answer.Has("Content-Type: image/" + std::string(type) + "\r\n"));
        EXPECT_TRUE(answer.Has("Content-Length: " + std::to_string(bytes.size()) + "\r\n"));
        EXPECT_TRUE(answer.Has("X-Content-Type-Options: nosniff\r\n"));
        EXPECT_EQ(answer.body, bytes);
    }
    for (const char *bytes :
         {"", "<svg a='WEBP' xmlns='http://www.w3.org/2000/svg'/>", "<html>", "\xFF\xD8", "RIFF"}) {
        Touch(music / "cover.jpg", bytes);
        EXPECT_TRUE(IsDefault(Get("&id=music_1"))) << bytes;
    }
    const std::string large = kPng + std::string(1'000'000, '\0');
    Touch(music / "@eaDir" / "a.mp3" / "APIC.png", large);
    EXPECT_TRUE(Body("&id=music_1") == large) << "the song's own picture is the first";
}

TEST_F(CoverApi, SendsOnlyPicturesThatChanged) {
    const fs::path cover = scratch() / "with" / "cover.jpg";
    const std::string lasting = "Cache-Control: private, max-age=300\r\n";
    AddSong(1, scratch() / "with" / "a.mp3");
    AddSong(2, scratch() / "without" / "a.mp3");
    Touch(cover, kJpeg);
    for (const char *id : {"&id=music_1", "&id=music_2"}) {
        const Answer first = Get(id);
        const std::string tag = first.Field("ETag");
        ASSERT_NE(tag, "") << first.header;
        EXPECT_TRUE(first.Has(lasting)) << first.header;
        const Answer again = Get(id, {{"HTTP_IF_NONE_MATCH", "\"x\", " + tag}});
        EXPECT_TRUE(Is(again, "304") && again.Has(lasting)) << again.header;
        EXPECT_EQ(again.Field("ETag") + again.body, tag);
        EXPECT_FALSE(Get(id, {{"HTTP_IF_NONE_MATCH", "\"x\""}}).body.empty());
        const Answer head = Get(id, {{"REQUEST_METHOD", "HEAD"}});
        EXPECT_EQ(head.header + head.body, first.header);
        // A new cover replaces the old one, or the drawing.
        Touch(scratch() / (id[10] == '1' ? "with/cover.jpg" : "without/folder.jpg"), kPng);
        EXPECT_EQ(Get(id, {{"HTTP_IF_NONE_MATCH", tag}}).body, kPng);
    }
    const std::string date = Get("&id=music_1").Field("Last-Modified");
    ASSERT_NE(date, "");
    EXPECT_EQ(Get("&id=music_1", {{"HTTP_IF_MODIFIED_SINCE", date}}).body, "");
    const Variables both = {{"HTTP_IF_MODIFIED_SINCE", date}, {"HTTP_IF_NONE_MATCH", "\"x\""}};
    EXPECT_NE(Get("&id=music_1", both).body, "");
}

TEST_F(CoverApi, ShowsOnlyWhatTheUserMaySee) {
    const fs::path home = scratch() / "bob";
    AddSong(1, home / "own.mp3", "bob's", kBob);
    AddSong(2, scratch() / "own" / "b.mp3", "alice's", kAlice);
    Touch(home / "cover.jpg", kJpeg);
    Touch(scratch() / "own" / "cover.jpg", kPng);
    Query(FolderSql(5, home));
    EXPECT_EQ(Body("&id=music_p_2"), kPng);
    for (const char *rest : {"&id=music_1", "&id=music_p_1", "&id=music_9", "&id=dir_5",
                             "&id=dir_9", "&album=bob%27s", "&album=none"}) {
        EXPECT_TRUE(Is(Get(rest), "404")) << rest;
    }
}

// The link is the indexed folder, a folder in it, or a song. Covers, ratings and sound agree.
TEST_F(CoverApi, FollowsLinksToTheOwnersMusicOnly) {
    const fs::path music = scratch() / "linked";
    const fs::path home = root() / "volume1/homes/alice/music";
    fs::create_directory(scratch() / "music");
    fs::create_directory_symlink(scratch() / "music", music);
    fs::permissions(scratch(), fs::perms::others_exec, fs::perm_options::add);
    WriteFile(varn::path::kIndexFolders,
              music.string() + "\n" + (root() / "volume1").string() + "\n");
    Query(InsertSql({.id = 1, .path = music / "album/a.flac"}) +
          InsertSql({.id = 2, .userid = kAlice, .path = home / "album/a.flac"}) +
          "UPDATE track SET duration = 2, frequency = 44100, container = 'flac'");
    Ffmpeg({"-f", "lavfi", "-i", "sine=d=2", scratch() / "tone.flac"});
    const std::tuple<fs::path, bool, bool> links[] = {
        // target, for shared, for her own
        {music / "real", true, true},
        {home / "real", false, true},
        {root() / "volume1/homes/bob/music/real", false, false},
        {scratch() / "outside", false, false}};
    const auto expectSound = [](const std::string &id, bool isHeard) {
        for (const std::string rest : {"", "&format=wav", "&position=1"}) {
            const std::string sound =
                GetCgi("version=1&api=VARN.Tonvale.Stream&method=stream&id=" + id + rest);
            EXPECT_TRUE(Contains(sound, isHeard ? "Status: 200" : "Status: 404")) << rest << sound;
        }
    };
    for (const auto &[target, forShared, forOwn] : links) {
        for (const auto &[folder, id, isShown] :
             {std::tuple(music, std::string("music_1"), forShared), {home, "music_2", forOwn}}) {
            SCOPED_TRACE(target.string() + " " + id);
            Touch(target / "cover.jpg", kJpeg);
            Touch(target / "a.flac", ReadFile(scratch() / "tone.flac"));
            fs::remove_all(folder / "album");
            fs::create_directory_symlink(target, folder / "album");
            expectSound(id, isShown);
            for (const char *size : {"&size=original", "&size=scaled"}) {
                const Answer answer = Get("&id=" + id + size);
                EXPECT_TRUE(isShown ? answer.body == kJpeg : IsDefault(answer)) << size;
            }
            EXPECT_EQ(fs::exists(target / "@eaDir"), isShown) << "a place for the copy";
            GetCgi("version=1&api=VARN.Tonvale.Song&method=rate&rating=4&id=" + id);
            EXPECT_EQ(fs::exists(target / "@eaDir/a.flac/VARNAUDIO_SONG_RATING"), isShown);
            EXPECT_EQ(fs::exists(target / "@eaDir"), isShown);
            fs::remove_all(target / "@eaDir");
            for (const fs::path &song : {target / "a.flac", target, fs::path("/nowhere")}) {
                fs::remove_all(folder / "album");
                fs::create_directory(folder / "album");
                fs::create_symlink(song, folder / "album/a.flac");
                expectSound(id, isShown && song.filename() == "a.flac");
            }
        }
    }
    EXPECT_EQ(Value("SELECT count(*) FROM rating_track WHERE star = 4"), "2");
}

TEST_F(CoverApi, ChoosesForAlbumsAndFolders) {
    const fs::path music = scratch() / "100%_[x]";
    AddSong(1, music / "1" / "a.mp3", "It's \"one\"");
    AddSong(2, music / "2" / "b.mp3", "It's \"one\"");
    AddSong(3, scratch() / "100xy[x]" / "c.mp3", "other");
    Touch(music / "2" / "cover.jpg", kJpeg);
    Touch(scratch() / "100xy[x]" / "cover.jpg", kPng);
    Query(FolderSql(5, music));
    const std::string album = "&album=It%27s%20%22one%22";
    EXPECT_EQ(Body(album), kJpeg) << "of the first song that has one";
    EXPECT_EQ(Body(album + "&album_artist=A%27B"), kJpeg);
    EXPECT_TRUE(Is(Get(album + "&album_artist=nobody"), "404"));
    EXPECT_EQ(Body("&id=dir_5"), kJpeg);
    EXPECT_EQ(Body("&id=dir_p_5"), kJpeg);
    fs::remove(music / "2" / "cover.jpg");
    EXPECT_TRUE(IsDefault(Get(album)));
    EXPECT_TRUE(IsDefault(Get("&id=dir_5")));
}

TEST_F(CoverApi, MakesTheSmallCopyWhileThereIsAConverter) {
    const fs::path cover = scratch() / "cover.jpg";
    AddSong(1, scratch() / "a.mp3");
    Touch(scratch() / "a.mp3", "");
    Draw("900x600", cover);
    const std::string scaled = "&id=music_1&size=scaled";
    const Answer small = Get(scaled);
    EXPECT_EQ(small.body, ReadFile(scratch() / "@eaDir" / "a.mp3" / "VARNAUDIO_ART_NBAUDIO.jpg"));
    EXPECT_NE(small.body, ReadFile(cover));
    EXPECT_EQ(Get(scaled, {{"HTTP_IF_NONE_MATCH", small.Field("ETag")}}).body, "");
    EXPECT_EQ(Body("&id=music_1&size=original"), ReadFile(cover));
    fs::remove_all(scratch() / "@eaDir");
    {
        // Takes the turns of all converters: there are as many as processors.
        std::vector<std::unique_ptr<std::FILE, int (*)(std::FILE *)>> taken;
        for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
            const fs::path turn = At(varn::path::kEncoderSlots) / ("picture-" + std::to_string(i));
            taken.emplace_back(std::fopen(turn.c_str(), "ae"), &std::fclose);
            ASSERT_TRUE(taken.back() && flock(fileno(taken.back().get()), LOCK_EX) == 0);
            fs::permissions(turn, fs::perms(0666));
        }
        EXPECT_EQ(Body(scaled), ReadFile(cover));
        // A copy of an earlier version needs no turn.
        const fs::path earlier = scratch() / "@eaDir" / "a.mp3" / "ART_NBAUDIO.jpg";
        Touch(earlier, small.body);
        EXPECT_EQ(Body(scaled), small.body);
        fs::remove(earlier);
        taken.pop_back();
        EXPECT_EQ(Body(scaled), small.body);
    }
    fs::remove_all(scratch() / "@eaDir");
    fs::rename(At(varn::path::kConvert), scratch() / "convert");
    EXPECT_EQ(Body(scaled), ReadFile(cover)) << "better than none";
    fs::rename(scratch() / "convert", At(varn::path::kConvert));
    EXPECT_EQ(Body(scaled), ReadFile(cover)) << "not tried again so soon";
    Draw("600x900", cover);
    EXPECT_NE(Body(scaled), ReadFile(cover)) << "another picture";
}

TEST_F(CoverApi, KeepsCopiesOfAnySizeWithinABound) {
    const fs::path cover = scratch() / "cover.jpg";
    const fs::path copies = At(varn::path::kCoverCopies);
    AddSong(1, scratch() / "a.mp3");
    Touch(scratch() / "a.mp3", "");
    Draw("900x600", cover);
    const Answer first = Get("&id=music_1&size=64");
    EXPECT_EQ(Get("&id=music_1&size=64").header, first.header) << "it was kept";
    EXPECT_NE(first.body, Body("&id=music_1&size=1024"));
    // A new copy replaces an unused one, and not one that is in use.
    const fs::path unused = copies / "unused.jpg";
    Touch(unused, "");
    fs::resize_file(unused, std::uintmax_t{1} << 28);
    const timespec old[] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, unused.c_str(), old, 0), 0);
    EXPECT_NE(Body("&id=music_1&size=65"), ReadFile(cover));
    EXPECT_FALSE(fs::exists(unused));
    EXPECT_EQ(Get("&id=music_1&size=64").header, first.header);
    fs::remove_all(copies);
    EXPECT_EQ(Body("&id=music_1&size=64"), ReadFile(cover)) << "nowhere to keep a copy";
}

TEST_F(CoverApi, FetchesPicturesOfStations) {
    const ScriptedHttp server([](const HttpRequest &request) {
        return request.target == "/chunked.png" ? ChunkedReply(kPng, 3)
               : request.target == "/none"      ? Reply("", "404 Not Found")
                                                : Reply(request.target == "/page" ? "<html>" : kPng,
                                                   "200 OK", "Content-Type: image/png\r\n");
    });
    const auto url = [&](const std::string &path) { return "&url=" + server.Url(path); };
    const Variables direct = {{"no_proxy", "*"}};
    EXPECT_TRUE(Is(Get(url("/a"), direct), "400"));
    EXPECT_TRUE(server.Requests().empty()) << "an address of this machine";
    Configure("remote_local_addresses", "yes");
    const Answer picture = Get(url("/a"), direct);
    EXPECT_EQ(picture.body, kPng) << picture.header;
    EXPECT_TRUE(picture.Has("Content-Type: image/png\r\n"));
    EXPECT_EQ(picture.Field("ETag") + picture.Field("Cache-Control"), "no-store");
    for (const std::string &path : Words("/page /chunked.png /none")) {
        EXPECT_TRUE(Is(Get(url(path), direct), "500")) << path;
    }
    const fs::path out = scratch() / "out.png";
    ExpectSayings({
        {{"cover", "--url", server.Url("/a"), "--output", out}, 0, ""},
        {{"cover", "--url", server.Url("/page"), "--output", out}, 1, "is no picture"},
        {{"cover", "--url", "ftp://x/a.png", "--output", out}, 2, ""},
        {{"cover", "--url", server.Url("/a")}, 2, ""},
    });
    EXPECT_EQ(ReadFile(out), kPng) << "a failed run keeps the file";
}

}  // namespace
