// The web API over real HTTP.
#include "webapi/served.h"

namespace {

using namespace tonvale_test;
using namespace std::chrono_literals;

TEST_F(Served, MakesTheFirstLoginAndAsksForIt) {
    std::string made;
    fs::remove(At(varn::path::kLogins));
    ASSERT_TRUE(varn::host::PrepareLogin(&made));
    EXPECT_TRUE(made.starts_with("admin:")) << made;
    EXPECT_EQ(ReadFile(At(varn::path::kInitialLogin)), made + "\n");
    for (const auto file : {varn::path::kInitialLogin, varn::path::kLogins}) {
        EXPECT_EQ(fs::status(At(file)).permissions(), fs::perms(0600));
    }
    EXPECT_EQ(ReadFile(At(varn::path::kLogins)).find(made.substr(6)), std::string::npos);
    std::string again = "x";
    ASSERT_TRUE(varn::host::PrepareLogin(&again));
    EXPECT_EQ(again, "");

    Serve();
    const std::string password = made.substr(6);
    const std::string info = Get(Path("Info", "get"), Login("admin", password)).body;
    EXPECT_TRUE(Contains(info, "\"name\":\"admin\"")) << info;
    EXPECT_EQ(Get(Path("Info", "get"), "Remote-User: admin\r\n").Status(), 401);
    for (const char *path :
         {"/webapi/entry.cgi", "/as/sharing/../../webapi/entry.cgi", "//webapi/entry.cgi"}) {
        EXPECT_EQ(Get(path, "").Status(), 401) << path;
    }
    // The public page cannot be used to reach a method that needs a login.
    for (const char *rest : {"", "&api=VARN.Tonvale.Info", "&%61pi=VARN.Tonvale.Info"}) {
        const HttpAnswer page = Get(Path("Sharing.Page", "get") + rest, "");
        EXPECT_FALSE(Contains(page.body, "\"success\":true")) << page.body;
    }
    EXPECT_EQ(Get("/../../etc/initial-login", Login("admin", password)).body.find("admin:"),
              std::string::npos);
}

// The web server itself refuses with JSON below /webapi/, and with a line of text elsewhere.
TEST_F(Served, RefusesInTheFormOfThePath) {
    Serve();
    for (const auto &[path, type] :
         {std::pair("/webapi/entry.cgi", "Content-Type: application/json; charset=utf-8"),
          {"/as/sharing", "Content-Type: text/plain; charset=utf-8"}}) {
        const std::string there = path;
        const std::pair<std::string, int> requests[] = {
            {"POST " + there + " HTTP/1.0\r\nContent-Length: 104857600\r\n\r\n", 413},
            {Request(there + "?" + std::string(100000, 'x'), ""), 431},
            {Request(there, "X: " + std::string(100000, 'x') + "\r\n"), 431},
            {"GET " + there + " HTTP/1.0\r\nHost: a\"b\r\n\r\n", 400},
            {Request(there.substr(0, there.rfind('/')) + "/x", ""), 404}};
        for (const auto &[request, status] : requests) {
            HttpClient client(port_);
            client.TrySend(request);
            const HttpAnswer answer = client.Answer();
            EXPECT_EQ(answer.Status(), status) << answer.header;
            EXPECT_TRUE(answer.Has(type)) << answer.header;
            EXPECT_TRUE(there == "/as/sharing" ||
                        StrictJson(answer.body)["error"]["code"] == status)
                << answer.body;
        }
    }
    // No answer names a folder of this system.
    for (const char *path : {"/webapi/", "/webapi/entry.cgi/../x", "/as/", "/as/sharings",
                             "/entry.cgi", "/x.js", "/../nginx.conf", "/js/x"}) {
        const HttpAnswer other = Get(path, "");
        EXPECT_GE(other.Status(), 400) << path;
        EXPECT_FALSE(Contains(other.body, root().string())) << path;
    }
}

// The page's files need no login. The addresses that the page makes lead to the page.
TEST_F(Served, ServesThePageAtItsAddresses) {
    Serve();
    const HttpAnswer page = Get("/", "");
    EXPECT_EQ(page.Status(), 200);
    EXPECT_EQ(page.body, ReadFile(TONVALE_SOURCE_DIR "/web/index.html"));
    EXPECT_TRUE(page.Has("Content-Type: text/html")) << page.header;
    EXPECT_TRUE(Contains(page.header, "Content-Security-Policy: default-src 'self';"));
    EXPECT_EQ(Get("/albums/Vol. 2", "").Status(), 400) << "a blank is not allowed";
    EXPECT_EQ(Get("/albums/Vol.%202", "").body, page.body);
    EXPECT_EQ(Get("/playlists/x.js", "").body, page.body);
    EXPECT_EQ(Get("/", "If-None-Match: W/" + FieldOf(page.header, "ETag") + "\r\n").Status(), 304);
}

TEST_F(Served, CompressesLists) {
    for (int id = 1; id <= 20; ++id) {
        Query(InsertSql({.id = id, .path = scratch() / std::to_string(id), .title = "song"}));
    }
    Serve();
    const std::string zipped = Login("alice") + "Accept-Encoding: gzip\r\n";
    const HttpAnswer list = Get(Path("Song", "list"), zipped);
    EXPECT_TRUE(list.Has("Content-Encoding: gzip") && list.Has("Vary: Accept-Encoding"));
    EXPECT_LT(list.body.size(), Get(Path("Song", "list")).body.size() / 2);
}

struct Part {
    std::string range;
    std::size_t first, last;
};

class ServedSound : public BothWays<Served> {
  protected:
    // Each range of a stream is that part of the whole.
    void ExpectRanges(const std::string &rest, const std::string &whole,
                      const std::vector<Part> &parts) const {
        for (const auto &[range, first, last] : parts) {
            const HttpAnswer answer = Stream(rest, range);
            EXPECT_EQ(answer.Status(), 206) << range;
            EXPECT_TRUE(answer.Has("Content-Range: bytes " + std::to_string(first) + "-" +
                                   std::to_string(last) + "/" + std::to_string(whole.size())))
                << answer.header;
            EXPECT_TRUE(answer.Has("Content-Length: " + std::to_string(last - first + 1)));
            EXPECT_TRUE(answer.body == whole.substr(first, last - first + 1)) << range;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(, ServedSound, kBothWays, NameOfWay);

TEST_P(ServedSound, SendsFilesWithRanges) {
    const std::string file = ReadFile(AddSong());
    const std::string size = std::to_string(file.size());
    Serve();
    const HttpAnswer whole = Stream("");
    EXPECT_EQ(whole.Status(), 200);
    EXPECT_TRUE(whole.Has("Content-Type: audio/flac")) << whole.header;
    EXPECT_TRUE(whole.Has("Content-Length: " + size)) << whole.header;
    EXPECT_TRUE(whole.body == file);
    ExpectRanges("", file, {{"1000-1999", 1000, 1999}, {"-10", file.size() - 10, file.size() - 1}});
    EXPECT_EQ(Stream("", size + "-").Status(), 416);
    EXPECT_TRUE(Stream("", "0-1,5-6").body == file) << "several ranges";
    const std::string etag = FieldOf(whole.header, "ETag");
    for (const auto &[field, status] : {std::pair("Range: bytes=0-1\r\nIf-Range: " + etag, 206),
                                        {"Range: bytes=0-1\r\nIf-Range: \"other\"", 200},
                                        {"If-None-Match: " + etag, 304}}) {
        EXPECT_EQ(
            Get(Path("Stream", "stream&id=music_1"), Login("alice") + field + "\r\n").Status(),
            status)
            << field;
    }
    fs::remove(scratch() / "O'B 100% #1 \xC3\xA9.flac");
    EXPECT_EQ(Stream("").Status(), 404);
}

TEST_P(ServedSound, TranscodesWithRanges) {
    const fs::path song = AddSong();
    // The length is announced in whole seconds. Silence fills the last one.
    Query("UPDATE track SET duration = 10.4");
    Serve();
    const std::size_t total = 11 * 176400 + 44;
    const HttpAnswer whole = Stream("&format=wav");
    EXPECT_EQ(whole.Status(), 200);
    EXPECT_TRUE(whole.Has("Content-Type: audio/x-wav")) << whole.header;
    EXPECT_TRUE(whole.Has("Content-Length: " + std::to_string(total))) << whole.header;
    ASSERT_EQ(whole.body.size(), total);
    ExpectRanges(
        "&format=wav", whole.body,
        {{"0-43", 0, 43}, {"800000-900000", 800000, 900000}, {"-1000", total - 1000, total - 1}});
    EXPECT_EQ(whole.body.find_last_not_of('\0'), total - 176400 - 1);
    const HttpAnswer mp3 = Stream("&format=mp3&position=4&bitrate=192000");
    EXPECT_TRUE(mp3.Has("Content-Type: audio/mpeg")) << mp3.header;
    EXPECT_TRUE(mp3.Has("Content-Length: 168000")) << mp3.header;
    EXPECT_EQ(mp3.body.size(), 168000U);
    // The sound of a track goes on to its end, which may be in the second after the last whole one.
    Query(InsertSql({.id = 2, .path = song, .is_virtual = true, .has_virtual = true}) +
          "UPDATE track SET duration = 4 WHERE id = 2; INSERT INTO virtual_info_track (track, "
          "file_track, audio_offset) VALUES (2, 1, 2)");
    const HttpAnswer track = Get(Path("Stream", "stream&id=music_v_2&format=wav"));
    ASSERT_EQ(track.body.size(), 5 * 176400 + 44) << track.header;
    EXPECT_TRUE(track.body.ends_with(whole.body.substr(44 + 2 * 176400, 5 * 176400)));
    // A low sampling rate has no bit rate as high as the usual one.
    MakeSound(scratch() / "low.flac", 11025);
    Query("UPDATE track SET frequency = 11025, path = '" + (scratch() / "low.flac").string() + "'");
    EXPECT_EQ(Stream("&format=mp3").body.size(), 11 * 64000U / 8);
}

// A cut of a compressed file has no known length, and a cut of samples has.
TEST_P(ServedSound, CutsWithoutLosingSound) {
    const fs::path song = AddSong();
    const fs::path wav = scratch() / "a.wav";
    MakeSound(wav, 44100);
    Serve();
    for (const char *duration : {"10", "0", "6", "2.5"}) {
        Query(std::string("UPDATE track SET bitrate = 100000, duration = ") + duration);
        const HttpAnswer cut = Stream("&position=4", "100-200");
        EXPECT_EQ(cut.Status(), 200);
        EXPECT_FALSE(Contains(cut.header, "Content-Length")) << cut.header;
        EXPECT_TRUE(cut.body == Output({"/usr/bin/ffmpeg", "-v", "0", "-ss", "4", "-i", song, "-f",
                                        "flac", "-c:a", "copy", "-"}))
            << duration;
    }
    Query(
        "UPDATE track SET bitrate = 1411000, channel = 2, container = 'wav', codec = 'pcm', "
        "duration = 9.3, path = '" +
        wav.string() + "'");
    const HttpAnswer cut = Stream("&position=3");
    const std::size_t total = 7 * 176400;
    ASSERT_EQ(cut.body.size(), total);
    EXPECT_TRUE(cut.body.substr(44) ==
                ReadFile(wav).substr(ReadFile(wav).find("data") + 8 + 3 * 176400, total - 44));
    // The header is at the beginning of the cut alone.
    ExpectRanges(
        "&position=3", cut.body,
        {{"0-43", 0, 43}, {"529243-", 529243, total - 1}, {"-1000", total - 1000, total - 1}});
}

TEST_F(Served, EndsEncodersWithTheirClientAndWithTheServer) {
    WriteFile(varn::path::kInitialLogin, "admin:first\n");
    AddLongSong();
    Serve();
    const std::string request =
        Request(Path("Stream", "stream&id=music_1&format=mp3"), Login("alice"));
    // Encoders that write without end, that write and wait, and that never write.
    for (const char *script : {"exec yes", "printf sound; exec sleep 1000", "exec sleep 1000"}) {
        UseEncoder(script);
        fs::remove(PidFile());
        {
            HttpClient client(port_);
            client.Send(request);
            EXPECT_TRUE(Eventually(EncoderRuns)) << script;
            EXPECT_EQ(client.Status(), 200) << script;
            EXPECT_TRUE(EncoderRuns()) << script;
        }
        EXPECT_TRUE(Eventually([] { return !EncoderRuns(); })) << script;
    }
    HttpClient client(port_);
    client.Send(request);
    EXPECT_TRUE(Eventually(EncoderRuns));
    const Finished stopped = Stop();
    EXPECT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_TRUE(Contains(stopped.out, At(varn::path::kInitialLogin))) << stopped.out;
    EXPECT_FALSE(EncoderRuns());
    // The server did not start the database, and leaves it running.
    EXPECT_TRUE(varn::host::CheckSchema());
}

// A trigger holds the request for a second, after which the stars are written beside the song.
TEST_F(Served, FinishesTheChangeOfAClientThatLeaves) {
    AddSong();
    Query(
        "CREATE FUNCTION wait() RETURNS trigger LANGUAGE plpgsql AS "
        "'BEGIN PERFORM pg_sleep(1); RETURN NULL; END'; "
        "CREATE TRIGGER wait AFTER INSERT ON rating_track EXECUTE FUNCTION wait()");
    Serve();
    {
        HttpClient client(port_);
        client.Send(Request(Path("Song", "rate&id=music_1&rating=5"), Login("alice")));
        EXPECT_TRUE(Eventually([] {
            return Value("SELECT COUNT(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'") ==
                   "1";
        }));
    }
    const auto isWhole = [] { return fs::exists(scratch() / "@eaDir"); };
    EXPECT_FALSE(isWhole());
    EXPECT_TRUE(Eventually(isWhole));
}

}  // namespace
