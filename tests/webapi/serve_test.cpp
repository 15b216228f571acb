// The web API over real HTTP.
#include <deque>

#include "misc/pictures.h"
#include "platform/child.h"
#include "varn/database.h"
#include "varn/descriptor.h"
#include "varn/process.h"
#include "webapi/served.h"

namespace tonvale_test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST_F(Served, AsksForALogin) {
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
    const std::string info = Path("Info", "get");
    const std::string password = made.substr(6);
    EXPECT_EQ(Get(info, Login("admin", password)).Status(), 200);
    EXPECT_TRUE(Contains(Get(info, Login("admin", password)).body, "\"name\":\"admin\""));
    for (const std::string &fields :
         {std::string(), Login("admin", "wrong"), Login("alice", password), Login("", ""),
          std::string("Remote-User: admin\r\n"), std::string("Authorization: Bearer x\r\n")}) {
        EXPECT_EQ(Get(info, fields).Status(), 401) << fields;
    }
    for (const char *path :
         {"/webapi/entry.cgi", "/as/sharing/../../webapi/entry.cgi", "//webapi/entry.cgi"}) {
        EXPECT_EQ(Get(path, "").Status(), 401) << path;
    }
    // A page that needs no login gets at nothing that does.
    for (const char *rest : {"", "&api=VARN.Tonvale.Info", "&%61pi=VARN.Tonvale.Info"}) {
        const HttpAnswer page = Get(Path("Sharing.Page", "get") + rest, "");
        EXPECT_FALSE(Contains(page.body, "\"success\":true")) << page.body;
    }
    EXPECT_EQ(Get("/../../etc/initial-login", Login("admin", password)).body.find("admin:"),
              std::string::npos);
}

class ServedAnswers : public BothWays<Served> {};
INSTANTIATE_TEST_SUITE_P(, ServedAnswers, kBothWays, NameOfWay);

TEST_P(ServedAnswers, ToRequests) {
    AddSong();
    Serve();
    const HttpAnswer list = Get(Path("Song", "list"));
    EXPECT_EQ(list.Status(), 200);
    EXPECT_TRUE(list.Has("Content-Type: application/json; charset=utf-8")) << list.header;
    EXPECT_TRUE(Contains(list.body, "\"title\":\"song\"")) << list.body;
    const HttpAnswer part = Get(Path("Song", "list"), Login("alice") + "Range: bytes=0-9\r\n");
    EXPECT_EQ(part.Status(), 200);
    EXPECT_EQ(part.body, list.body);
    EXPECT_EQ(Get(Path("Info", "get"), Login("ghost")).Status(), 401);
    EXPECT_TRUE(Get(Path("Info", "set")).body.starts_with("{\"error\":{\"code\":405,"));
}

TEST_F(Served, RefusesWhatIsTooLarge) {
    Serve();
    HttpClient large(port_);
    large.Send(
        "POST /webapi/entry.cgi HTTP/1.0\r\n" + Login("alice") +
        "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 104857600\r\n\r\n");
    EXPECT_EQ(large.Answer().Status(), 413);
    EXPECT_EQ(Get("/webapi/entry.cgi?" + std::string(100000, 'x')).Status(), 431);
    // Nothing tells where this system lies, or what it asks the database.
    for (const char *path : {"/webapi/", "/webapi/entry.cgi/../x", "/as/", "/as/sharings",
                             "/entry.cgi", "/x.js", "/../nginx.conf", "/js/x"}) {
        const HttpAnswer other = Get(path, "");
        EXPECT_GE(other.Status(), 400) << path;
        EXPECT_FALSE(Contains(other.body, root().string())) << path;
    }
}

// The page's files need no login, and its own addresses are the page.
TEST_F(Served, ServesThePage) {
    Serve();
    const HttpAnswer page = Get("/", "");
    EXPECT_EQ(page.Status(), 200);
    EXPECT_EQ(page.body, ReadFile(TONVALE_SOURCE_DIR "/web/index.html"));
    EXPECT_TRUE(page.Has("Content-Type: text/html")) << page.header;
    EXPECT_TRUE(Contains(page.header, "Content-Security-Policy: default-src 'self';"));
    EXPECT_EQ(Get("/albums/Vol. 2", "").Status(), 400) << "no address";
    EXPECT_EQ(Get("/albums/Vol.%202", "").body, page.body);
    EXPECT_EQ(Get("/playlists/x.js", "").body, page.body);
    const std::size_t tag = page.header.find("ETag: ");
    ASSERT_NE(tag, page.header.npos) << page.header;
    const std::string etag = page.header.substr(tag + 6, page.header.find('\r', tag) - tag - 6);
    EXPECT_EQ(Get("/", "If-None-Match: W/" + etag + "\r\n").Status(), 304);
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
    HttpClient head(port_);
    head.Send("HEAD" + Request(Path("Song", "list"), zipped).substr(3));
    const HttpAnswer only = head.Answer();
    EXPECT_EQ(only.Status(), 200);
    EXPECT_EQ(only.body, "");
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
    const std::size_t tag = whole.header.find("ETag: ") + 6;
    const std::string etag = whole.header.substr(tag, whole.header.find('\r', tag) - tag);
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

TEST_P(ServedSound, PlaysLinksToTheOwnersMusicOnly) {
    const fs::path music = scratch() / "music";
    const fs::path home = root() / "volume1/homes/alice/music";
    const fs::path other = root() / "volume1/homes/bob/music/song.flac";
    fs::create_directory(music);
    fs::create_directory_symlink(music, scratch() / "linked");
    WriteFile(varn::path::kIndexFolders,
              (scratch() / "linked").string() + "\n" + (root() / "volume1").string() + "\n");
    const fs::path outside = AddSong();
    for (const fs::path &copy : {music / "real.flac", home / "real.flac", other}) {
        fs::copy(outside, copy);
    }
    const fs::path shared = scratch() / "linked/song.flac";
    const fs::path own = home / "song.flac";
    Query("DELETE FROM track;" + InsertSql({.id = 1, .path = shared}) +
          InsertSql({.id = 2, .userid = kAlice, .path = own}) +
          "UPDATE track SET duration = 10, frequency = 44100, container = 'flac'");
    Serve();
    struct Case {
        fs::path target;
        int forShared, forOwn;  // status
    };
    for (const Case &link : {Case{music / "real.flac", 200, 200},
                             {home / "real.flac", 404, 200},
                             {other, 404, 404},
                             {outside, 404, 404},
                             {music, 404, 404},
                             {"/nowhere", 404, 404}}) {
        for (const fs::path &path : {shared, own}) {
            fs::remove(path);
            fs::create_symlink(link.target, path);
        }
        for (const char *rest : {"", "&format=wav", "&position=1"}) {
            EXPECT_EQ(Stream(rest).Status(), link.forShared) << link.target << rest;
            EXPECT_EQ(Get(Path("Stream", std::string("stream&id=music_2") + rest)).Status(),
                      link.forOwn)
                << link.target << rest;
        }
    }
}

TEST_P(ServedSound, TranscodesWithRanges) {
    const fs::path song = AddSong();
    // Announced is a whole second, and silence is what the file lacks of it.
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
    // The sound of a track goes on to its end, which may lie a second after its last whole one.
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

// What is cut out as it is comes whole. Its bit rate does not tell its length, but that of samples.
TEST_P(ServedSound, CutsWithoutLosingAnything) {
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
    // A later second of the file has no header in its first bytes.
    ExpectRanges(
        "&position=3", cut.body,
        {{"0-43", 0, 43}, {"529243-", 529243, total - 1}, {"-1000", total - 1000, total - 1}});
}

TEST_F(Served, EndsEncodersWithTheirClientAndWithItself) {
    AddLongSong();
    Serve();
    const std::string request =
        Request(Path("Stream", "stream&id=music_1&format=mp3"), Login("alice"));
    // One that writes without end, one that has written and waits, one that never writes.
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
    // It did not start the database, and left it running.
    EXPECT_TRUE(varn::host::CheckSchema());
}

// The stars are in the library first, and beside the song a second later.
TEST_F(Served, FinishesTheChangeOfAClientThatLeaves) {
    AddSong();
    WriteFile(varn::path::kUsersFile, R"({"1030": {"editsong": true}})");
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
    EXPECT_TRUE(Eventually(isWhole) || Eventually(isWhole) || Eventually(isWhole));
}

TEST_F(Served, BoundsTheEncoders) {
    AddLongSong();
    ASSERT_EQ(VARNAudioConfSet("max_encoders", "1"), 0);
    chmod(At(varn::path::kPackageConf).c_str(), 0644);
    UseEncoder("exec yes");
    fs::remove_all(At(varn::path::kEncoderSlots));
    Serve();
    {
        // A reader that does not read holds its turn, and no more than that.
        HttpClient slow(port_);
        const std::string form = "method=stream&id=music_1&format=mp3";
        slow.Send("POST /webapi/entry.cgi?version=1&api=VARN.Tonvale.Stream HTTP/1.0\r\n" +
                  Login("alice") + "Content-Type: application/x-www-form-urlencoded\r\n" +
                  "Content-Length: " + std::to_string(form.size()) + "\r\n\r\n" + form);
        EXPECT_TRUE(Eventually(EncoderRuns));
        // Neither the handler nor its encoder has a way back to root.
        const pid_t encoder = std::stoi(ReadFile(PidFile()));
        const std::string id =
            std::to_string(IsRoot() ? GetUserIdFromName(varn::kPackageAccount) : geteuid());
        for (const pid_t pid : {encoder, std::stoi(StatusOf(encoder, "PPid"))}) {
            EXPECT_EQ(StatusOf(pid, "Uid"), id + "\t" + id + "\t" + id + "\t" + id);
            EXPECT_EQ(StatusOf(pid, "CapPrm"), "0000000000000000");
        }
        const HttpAnswer busy = Stream("&format=mp3");
        EXPECT_EQ(busy.Status(), 503);
        EXPECT_TRUE(busy.Has("Retry-After: 5")) << busy.header;
        EXPECT_TRUE(busy.body.starts_with("{\"error\":{\"code\":503"));
        EXPECT_EQ(Stream("").Status(), 200) << "files need no encoder";
        std::ifstream counters("/proc/" + std::to_string(encoder) + "/io");
        std::string name;
        std::size_t written = 0;
        while (name != "wchar:" && counters >> name >> written) {
        }
        EXPECT_LT(written, 16U << 20) << "no server takes the sound at once";
    }
    EXPECT_TRUE(Eventually([] { return !EncoderRuns(); }));
    // One that cannot start, or turns that cannot be counted, are no matter of waiting.
    fs::remove(At(varn::path::kEncoder));
    EXPECT_EQ(Stream("&format=mp3").Status(), 500);
    UseEncoder("exit 0");
    fs::rename(At(varn::path::kEncoderSlots), At(varn::path::kEncoderSlots).string() + "-");
    EXPECT_EQ(Stream("&format=mp3").Status(), 500);
    fs::rename(At(varn::path::kEncoderSlots).string() + "-", At(varn::path::kEncoderSlots));
    EXPECT_TRUE(Eventually([this] { return Stream("&format=mp3").Status() == 200; }));
}

// Tables are locked: who asks for them waits in a line, leaves room to others, and gets an answer.
TEST_F(Served, BoundsTheRequestsOfAnAccount) {
    ASSERT_EQ(VARNAudioConfSet("trusted_proxies", "127.0.0.2"), 0);
    AddSong();
    Serve();
    const varn::Connection locker = varn::ConnectLibrary(varn::Server::kLocal);
    const char *const lock = "BEGIN; LOCK TABLE track, playlist_sharing";
    ASSERT_EQ(VARNDBExecute(locker.get(), lock, nullptr), 0);
    const auto atWork = [] {
        return std::stoi(Value("SELECT COUNT(*) FROM pg_locks WHERE NOT granted"));
    };
    // All workers but one, and three more.
    const int most = static_cast<int>(2 * std::thread::hardware_concurrency() - 1 + 3);
    std::deque<HttpClient> clients;
    const std::string search = Path("Song", "search&keyword=o");
    for (int count = 0; count < 60; ++count) {
        clients.emplace_back(port_).Send(Request(search, Login("alice")));
    }
    EXPECT_TRUE(Eventually([&] { return atWork() >= 3; })) << atWork();
    EXPECT_EQ(Get(Path("Playlist", "list&library=shared"), Login("bob")).Status(), 200);
    EXPECT_LE(atWork(), most);
    EXPECT_EQ(VARNDBExecute(locker.get(), "ROLLBACK", nullptr), 0);
    for (HttpClient &client : clients) {
        EXPECT_EQ(client.Status(40s), 200) << "waits, and is not refused";
    }
    // The visitors of public pages are one account, whose turns one network cannot fill.
    ASSERT_EQ(VARNDBExecute(locker.get(), lock, nullptr), 0);
    std::deque<HttpClient> visitors;
    int before = 0;
    for (const int networks : {1, 2}) {
        for (unsigned count = 3; count < 23; ++count) {
            visitors.emplace_back(port_, networks == 1 ? 2 : count)
                .Send(Request(Path("Sharing.Page", "get&sharing_id=abcDEF12"),
                              "X-Forwarded-For: 2001:db8::" + std::to_string(count) + "\r\n"));
        }
        EXPECT_TRUE(Eventually([&] { return atWork() > before; })) << atWork();
        std::this_thread::sleep_for(1s);
        before = atWork();
        EXPECT_LE(before, networks == 1 ? 4 : most);
    }
    HttpClient client(port_);
    client.Send(Request(search, Login("alice")));
    const HttpAnswer cancelled = client.Answer(20s);
    EXPECT_EQ(cancelled.Status(), 504);
    EXPECT_TRUE(cancelled.body.starts_with("{\"error\":{\"code\":504,")) << cancelled.body;
    EXPECT_EQ(VARNDBExecute(locker.get(), "ROLLBACK", nullptr), 0);
    EXPECT_TRUE(Contains(Get(search).body, "\"success\":true"));
}

// Clients hold what they get: headers and bodies come by the byte, and nobody reads the sound. A login
// that is written in many ways is one, and so are the addresses of one network.
TEST_F(Served, AnswersBesideClientsThatHoldOn) {
    fs::resize_file(AddSong(), 64 << 20);
    ASSERT_EQ(VARNAudioConfSet("trusted_proxies", "::1 10.0.0.0/8 127.0.0.2/32"), 0);
    Serve();
    const auto end = std::chrono::steady_clock::now() + 11s;
    std::deque<HttpClient> headers, bodies, readers;
    for (int count = 0; count < 200; ++count) {
        headers.emplace_back(port_).Send("GET / HTTP/1.1\r\nX: ");
    }
    int taken = 0;
    for (int count = 0; count < 120; ++count) {
        const std::string login = Base64(count < 80 ? "alice:pass word" : "bob:pass word");
        const std::string spellings[] = {"Basic " + login, "bAsIc " + login,
                                         "Basic" + std::string(250, ' ') + login};
        readers.emplace_back(port_, count % 2 * 2 + 1)
            .Send(Request(Path("Stream", "stream&id=music_1"),
                          "X-Forwarded-For: 192.0.2." + std::to_string(count) +
                              "\r\nAuthorization: " + spellings[count % 3] + "\r\n"));
        taken += readers.back().Status() == 200;
    }
    EXPECT_EQ(taken, 64 + 40);
    // From loopback, where 24 more requests may be under way, and from another network.
    for (int count = 0; count < 180; ++count) {
        const std::string number = std::to_string(count);
        bodies.emplace_back(port_, count < 40 ? 1 : 2)
            .Send("POST " + Path("Sharing.Page", "get") + " HTTP/1.1\r\nHost: x\r\n" +
                  "X-Forwarded-For: 2001:db8::" + number + "\r\n" + Login("made up " + number) +
                  (count % 2 == 0 ? "Content-Length: 99" : "Transfer-Encoding: chunked") +
                  "\r\n\r\n");
    }
    const std::string beside = Login("bob") + "X-Forwarded-For: 2001:db8::1\r\n";
    // The bytes of this network are "127alice".
    EXPECT_EQ(Get(Path("Info", "get"), "X-Forwarded-For: 3132:3761:6c69:6365::\r\n", 2).Status(),
              401);
    do {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Get(Path("Info", "get"), beside, 2).Status(), 200);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
        std::this_thread::sleep_for(300ms);
        for (std::deque<HttpClient> *clients : {&headers, &bodies}) {
            for (HttpClient &client : *clients) {
                client.TrySend("0");
            }
        }
    } while (std::chrono::steady_clock::now() < end);
    for (HttpClient &client : headers) {
        EXPECT_FALSE(client.TrySend("x")) << "headers have a time of their own";
    }
    const auto isBusy = [](HttpClient &client) { return client.Status(0ms) == 503; };
    EXPECT_EQ(std::count_if(bodies.begin(), bodies.end(), isBusy), 40 - 24 + 140 - 32);
}

// With root's rights the server runs what its configuration says.
TEST_F(Served, KeepsItsFilesFromThePackageAccount) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root";
    }
    const fs::path other = scratch() / "other";
    fs::create_directory(other);
    fs::remove_all(At(varn::path::kEncoderSlots));
    fs::create_directory_symlink(other, At(varn::path::kEncoderSlots));
    std::ofstream(other / "file") << "text";
    fs::create_symlink(other / "file", At(varn::path::kWebConf));
    Serve();
    EXPECT_EQ(ReadFile(other / "file"), "text");
    const auto isRoots = [](const fs::path &path) {
        struct stat info {};
        return stat(path.c_str(), &info) == 0 && info.st_uid == 0 && (info.st_mode & 022) == 0;
    };
    EXPECT_TRUE(isRoots(other));
    fs::remove(At(varn::path::kEncoderSlots));
    for (const auto file : {varn::path::kWebConf, varn::path::kWebTemporary}) {
        for (fs::path path = At(file); path != root(); path = path.parent_path()) {
            EXPECT_TRUE(isRoots(path)) << path;
        }
    }
    for (const char *name : {"access.log", "serve.log", ""}) {
        EXPECT_TRUE(isRoots(At(varn::path::kWebLogDir) / name)) << name;
    }
    EXPECT_EQ(fs::status(At(varn::path::kWebSocket)).permissions(), fs::perms(0660));
    EXPECT_EQ(Get(Path("Info", "get"), "").Status(), 401) << "nginx connects";
}

// Processes whose parent is `parent`, by the names of their programs.
std::vector<pid_t> ChildrenOf(pid_t parent, const std::string &name) {
    std::vector<pid_t> children;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        const pid_t pid = std::atoi(entry.path().filename().c_str());
        if (pid > 0 && StatusOf(pid, "PPid") == std::to_string(parent) &&
            StatusOf(pid, "Name") == name) {
            children.push_back(pid);
        }
    }
    return children;
}

bool IsGone(pid_t pid) {
    return kill(pid, 0) != 0 || StatusOf(pid, "State").starts_with("Z");
}

TEST_F(Served, StartsAgainWhatEnds) {
    setenv("PGPASSFILE", R"(/a\\b" \c\d)", 1);
    UseEncoder("printf '%s|' \"$PGPASSFILE\" >" + (scratch() / "seen").string() +
               "; exec sleep 1000");
    AddLongSong();
    server_ = std::make_unique<Command>(
        std::vector<std::string>{"serve", "--listen", "::", "--port", std::to_string(port_)});
    unsetenv("PGPASSFILE");
    ASSERT_TRUE(server_->WaitForOutput("Serving at http://[::]:" + std::to_string(port_)));
    const auto workers = [this] { return ChildrenOf(server_->Id(), "entry.cgi"); };
    const std::size_t usual = 2 * std::thread::hardware_concurrency();
    EXPECT_TRUE(Eventually([&] { return workers().size() == usual; }));
    // One that is killed, and one that is stopped and would keep the requests that it has taken.
    for (const int signal : {SIGKILL, SIGSTOP}) {
        const pid_t worker = workers().front();
        kill(worker, signal);
        EXPECT_TRUE(Eventually([&] { return IsGone(worker) && workers().size() == usual; }));
        EXPECT_EQ(Get(Path("Info", "get")).Status(), 200);
    }
    const pid_t nginx = ChildrenOf(server_->Id(), "nginx").front();
    kill(nginx, SIGKILL);
    EXPECT_TRUE(Eventually([&] {
        const auto now = ChildrenOf(server_->Id(), "nginx");
        return !now.empty() && now.front() != nginx && !ChildrenOf(now.front(), "nginx").empty();
    }));
    HttpClient client(port_);  // over IPv4
    client.Send(Request(Path("Stream", "stream&id=music_1&format=mp3"), Login("alice")));
    ASSERT_TRUE(Eventually(EncoderRuns));
    EXPECT_TRUE(Eventually([] { return !ReadFile(scratch() / "seen").empty(); }));
    EXPECT_EQ(ReadFile(scratch() / "seen"), R"(/a\\b" \c\d|)");
    // What a killed server leaves behind ends by itself.
    const std::vector<pid_t> left = workers();
    const Finished killed = server_->Signal(SIGKILL);
    server_.reset();
    EXPECT_TRUE(Contains(killed.err, "entry.cgi was ended by a signal: Killed")) << killed.err;
    EXPECT_TRUE(Eventually([&] { return std::all_of(left.begin(), left.end(), IsGone); }));
    EXPECT_TRUE(Eventually([] { return !EncoderRuns(); }));
    Serve();
    EXPECT_EQ(Get(Path("Info", "get")).Status(), 200);
}

// Without a system log a failure's reason is on standard error and in the server's log.
TEST_F(Served, TellsWhyARequestFailed) {
    Serve();
    Query("ALTER TABLE track RENAME TO lost");
    EXPECT_TRUE(Contains(Get(Path("Song", "list")).body, "\"code\":500"));
    const std::string reason = "\"track\" does not exist";
    EXPECT_TRUE(Contains(ReadFile(At(varn::path::kWebLog)), reason));
    EXPECT_TRUE(Contains(Stop().err, reason));
}

TEST_F(Served, ServesOverTls) {
    const std::string certificate = scratch() / "a.crt";
    const std::string key = scratch() / "a.key";
    const std::string other = scratch() / "other.key";
    for (const std::string &made : {other, key}) {
        Output({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj",
                "/CN=localhost", "-days", "1", "-keyout", made, "-out", certificate});
    }
    const auto start = [&](const std::string &first, const std::string &second) {
        return std::vector<std::string>{"serve", "--port", std::to_string(port_),
                                        "--tls", first,    second};
    };
    const auto refusal = [&](const std::string &first, const std::string &second) {
        return Tonvale(start(first, second)).err;
    };
    EXPECT_TRUE(Contains(refusal("/nowhere", key), "cannot read the certificate /nowhere"));
    EXPECT_TRUE(Contains(refusal(key, key), "holds no certificate"));
    EXPECT_TRUE(Contains(refusal(certificate, certificate), "holds no key"));
    EXPECT_TRUE(Contains(refusal(certificate, other), "does not belong"));
    const std::string address = "localhost:" + std::to_string(port_);
    server_ = std::make_unique<Command>(start(certificate, key));
    ASSERT_TRUE(server_->WaitForOutput("Serving at https://127.0.0.1:" + std::to_string(port_)));
    const auto curl = [&](const std::string &url) {
        return Output(
            {"/usr/bin/curl", "-s", "-i", "--cacert", certificate, "-u", "alice:pass word", url});
    };
    EXPECT_TRUE(Contains(curl("https://" + address + Path("Info", "get")), "\"success\":true"));
    EXPECT_TRUE(Contains(curl("http://" + address + "/x"), "Location: https://" + address + "/x"));
}

// A proxy with the lines of docs/system.md.
TEST_F(Served, BelievesAProxy) {
    ASSERT_EQ(VARNAudioConfSet("trusted_proxies", "127.0.0.1"), 0);
    Serve();
    const std::string docs = ReadFile(TONVALE_SOURCE_DIR "/docs/system.md");
    const std::size_t start = docs.find("    location / {");
    std::string lines = docs.substr(start, docs.find("    }\n", start) + 6 - start);
    lines.replace(lines.find("8480"), 4, std::to_string(port_));
    const int port = UnusedPort();
    const std::string conf = scratch() / "proxy.conf";
    std::ofstream(conf) << "daemon off; master_process off; error_log stderr emerg; pid "
                        << (scratch() / "pid").string()
                        << ";\nevents {}\nhttp { access_log off; server { listen 127.0.0.1:" << port
                        << ";\n"
                        << lines << "} }\n";
    const pid_t proxy =
        Spawn("/usr/sbin/nginx", {"nginx", "-e", "stderr", "-c", conf}, OwnVariables(), {});
    EXPECT_TRUE(Eventually([&] { return IsAnswered(port); }));
    HttpClient client(port, 5);
    client.Send(Request(Path("Info", "get"), Login("alice") + "X-Forwarded-For: 192.0.2.1\r\n"));
    EXPECT_EQ(client.Answer().Status(), 200);
    kill(proxy, SIGTERM);
    waitpid(proxy, nullptr, 0);
    const std::string log = ReadFile(At(varn::path::kWebLogDir) / "access.log");
    EXPECT_TRUE(log.starts_with("127.0.0.5 alice ")) << log;
    EXPECT_TRUE(Contains(log, "\"GET /webapi/entry.cgi\" 200 ")) << log;
}

TEST_F(Served, EndsBesideChildrenThatAreNotItsOwn) {
    // A program that a shell has started and then become: it finds a child that it never made.
    const std::string script = "sleep 60 & echo $! >'" + PidFile().string() + "'; exec '" +
                               TONVALE_PROGRAM_DIR "/tonvale' serve --port " +
                               std::to_string(port_) + " >'" + (scratch() / "out").string() + "'";
    const pid_t pid = Spawn("/bin/sh", {"sh", "-c", script},
                            {"TONVALE_ROOT=" + root().string(), "ASAN_OPTIONS=detect_leaks=0"}, {});
    const auto isServing = [] { return Contains(ReadFile(scratch() / "out"), "Serving"); };
    EXPECT_TRUE(Eventually(isServing) || Eventually(isServing) || Eventually(isServing));
    kill(pid, SIGTERM);
    int status = -1;
    EXPECT_TRUE(Eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; }));
    EXPECT_EQ(status, 0);
    kill(std::stoi(ReadFile(PidFile())), SIGKILL);
}

TEST_F(Served, StartsAndStopsTheDatabaseWhereItIsDown) {
    ASSERT_TRUE(varn::host::StopCluster());
    server_ = std::make_unique<Command>(
        std::vector<std::string>{"serve", "--port", std::to_string(port_)});
    const fs::path running = At(varn::path::kClusterData) / "postmaster.pid";
    const auto isStarting = [&] { return fs::exists(running); };
    EXPECT_TRUE(Eventually(isStarting) || Eventually(isStarting) || Eventually(isStarting));
    // A second server is refused as long as the first one has anything to do.
    const Finished second = Tonvale({"serve", "--port", std::to_string(UnusedPort())});
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(Contains(second.err, "already by process " + std::to_string(server_->Id()) + "\n"));
    EXPECT_EQ(Stop().status, 0);
    EXPECT_FALSE(isStarting());
    Serve();
    EXPECT_EQ(Stop().status, 0);
    EXPECT_FALSE(varn::host::CheckSchema());
    ASSERT_TRUE(varn::host::StartCluster(nullptr));
    int taken = 0;
    const varn::UniqueFd listener(ListenOnLoopback(taken));
    const auto refusal = [](const std::string &option, const std::string &value) {
        return Tonvale({"serve", option, value}).err;
    };
    EXPECT_TRUE(Contains(refusal("--port", std::to_string(taken)), "another port with --port"));
    EXPECT_TRUE(Contains(refusal("--listen", "nowhere"), "--listen"));
    for (const char *proxies : {"10.0.0.0/33", "::1; user root"}) {
        ASSERT_EQ(VARNAudioConfSet("trusted_proxies", proxies), 0);
        EXPECT_TRUE(Contains(refusal("--port", std::to_string(port_)), "trusted_proxies"));
    }
}

}  // namespace

}  // namespace tonvale_test
