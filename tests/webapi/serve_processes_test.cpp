// The processes of `tonvale serve`: their bounds, and how they end and start again.
#include <deque>
#include <fstream>

#include <sys/wait.h>

#include "varn/database.h"
#include "varn/descriptor.h"
#include "varn/process.h"
#include "webapi/served.h"

namespace tonvale_test {

namespace {

using namespace std::chrono_literals;

TEST_F(Served, BoundsTheEncoders) {
    AddLongSong();
    Configure("max_encoders", "1");
    UseEncoder("exec yes");
    fs::remove_all(At(varn::path::kEncoderSlots));
    Serve();
    {
        // A client that does not read holds its turn and nothing else.
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
        EXPECT_LT(written, 16U << 20) << "no process takes the sound faster than its client";
    }
    EXPECT_TRUE(Eventually([] { return !EncoderRuns(); }));
    // An encoder that cannot start, and turns that cannot be counted, are failures.
    fs::remove(At(varn::path::kEncoder));
    EXPECT_EQ(Stream("&format=mp3").Status(), 500);
    UseEncoder("exit 0");
    fs::rename(At(varn::path::kEncoderSlots), At(varn::path::kEncoderSlots).string() + "-");
    EXPECT_EQ(Stream("&format=mp3").Status(), 500);
    fs::rename(At(varn::path::kEncoderSlots).string() + "-", At(varn::path::kEncoderSlots));
    EXPECT_TRUE(Eventually([this] { return Stream("&format=mp3").Status() == 200; }));
}

// Requests for locked tables wait in a line, leave room to other users, and get an answer.
TEST_F(Served, BoundsTheRequestsOfAnAccount) {
    Configure("trusted_proxies", "127.0.0.2");
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
        EXPECT_EQ(client.Status(), 200) << "waits, and is not refused";
    }
    // Visitors of public pages are one account. One network cannot take all of its turns.
    ASSERT_EQ(VARNDBExecute(locker.get(), lock, nullptr), 0);
    HttpClient client(port_);
    client.Send(Request(search, Login("alice")));
    EXPECT_TRUE(Eventually([&] { return atWork() == 1; }));
    std::deque<HttpClient> visitors;
    int before = 1;
    for (const int networks : {1, 2}) {
        for (unsigned count = 3; count < 23; ++count) {
            visitors.emplace_back(port_, networks == 1 ? 2 : count)
                .Send(Request(Path("Sharing.Page", "get&sharing_id=abcDEF12"),
                              "X-Forwarded-For: 2001:db8::" + std::to_string(count) + "\r\n"));
        }
        EXPECT_TRUE(Eventually([&] { return atWork() > before; })) << atWork();
        std::this_thread::sleep_for(1s);
        before = atWork();
        EXPECT_LE(before, networks == 1 ? 1 + 4 : most);
    }
    const HttpAnswer cancelled = client.Answer();
    EXPECT_EQ(cancelled.Status(), 504);
    EXPECT_TRUE(cancelled.body.starts_with("{\"error\":{\"code\":504,")) << cancelled.body;
    EXPECT_EQ(VARNDBExecute(locker.get(), "ROLLBACK", nullptr), 0);
    EXPECT_TRUE(Contains(Get(search).body, "\"success\":true"));
}

// Slow clients send headers and bodies by the byte, and read no sound. All spellings of a login
// count as one, and so do the addresses of a network.
TEST_F(Served, AnswersBesideSlowClients) {
    fs::resize_file(AddSong(), 64 << 20);
    Configure("trusted_proxies", "::1 10.0.0.0/8 127.0.0.2/32");
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
    // From loopback, which may have 24 more requests at once, and from another network.
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
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
        std::this_thread::sleep_for(300ms);
        for (std::deque<HttpClient> *clients : {&headers, &bodies}) {
            for (HttpClient &client : *clients) {
                client.TrySend("0");
            }
        }
    } while (std::chrono::steady_clock::now() < end);
    for (HttpClient &client : headers) {
        EXPECT_FALSE(client.TrySend("x")) << "the server closed the connection";
    }
    const auto isBusy = [](HttpClient &client) { return client.Status(0ms) == 503; };
    EXPECT_EQ(std::count_if(bodies.begin(), bodies.end(), isBusy), 40 - 24 + 140 - 32);
}

// The server runs as root what its configuration says.
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

bool IsGone(pid_t pid) {
    return kill(pid, 0) != 0 || StatusOf(pid, "State").starts_with("Z");
}

TEST_F(Served, RestartsProcessesThatEnd) {
    setenv("PGPASSFILE", R"(/a\\b" \c\d)", 1);
    UseEncoder("printf '%s|' \"$PGPASSFILE\" >" + (scratch() / "seen").string() +
               "; exec sleep 1000");
    AddLongSong();
    ServeWith({"--listen", "::"}, "http://[::]");
    unsetenv("PGPASSFILE");
    const auto workers = [this] { return ChildrenOf(server_->Id(), "entry.cgi"); };
    const std::size_t usual = 2 * std::thread::hardware_concurrency();
    EXPECT_TRUE(Eventually([&] { return workers().size() == usual; }));
    // A killed worker, and a stopped one, which would keep the requests that it has taken.
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
    // The processes of a killed server end by themselves.
    std::vector<pid_t> left = workers();
    for (const char *program : {"tonvale-events", "varnindex"}) {
        const auto found = ChildrenOf(server_->Id(), program);
        left.insert(left.end(), found.begin(), found.end());
    }
    EXPECT_GE(left.size(), usual + 2);
    const Finished killed = server_->Signal(SIGKILL);
    server_.reset();
    EXPECT_TRUE(Contains(killed.err, "entry.cgi was ended by a signal: Killed")) << killed.err;
    EXPECT_TRUE(Eventually([&] { return std::all_of(left.begin(), left.end(), IsGone); }));
    EXPECT_TRUE(Eventually([] { return !EncoderRuns(); }));
    Serve();
    EXPECT_EQ(Get(Path("Info", "get")).Status(), 200);
}

// Without a system log the reason goes to standard error and to the server's log.
TEST_F(Served, TellsWhyARequestFailedInABoundedLog) {
    Serve();
    fs::resize_file(At(varn::path::kWebLog), 17 << 20);
    EXPECT_TRUE(Eventually([] { return fs::file_size(At(varn::path::kWebLog)) < 17 << 20; }));
    EXPECT_EQ(fs::file_size(At(varn::path::kWebLog).string() + ".1"), 17U << 20);
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
    const auto refusal = [&](const std::string &first, const std::string &second) {
        return Tonvale(ServeWords({"--tls", first, second})).err;
    };
    EXPECT_TRUE(Contains(refusal("/nowhere", key), "cannot read the certificate /nowhere"));
    EXPECT_TRUE(Contains(refusal(key, key), "holds no certificate"));
    EXPECT_TRUE(Contains(refusal(certificate, certificate), "holds no key"));
    EXPECT_TRUE(Contains(refusal(certificate, other), "does not belong"));
    const std::string address = "localhost:" + std::to_string(port_);
    ServeWith({"--tls", certificate, key}, "https://127.0.0.1");
    const auto curl = [&](const std::string &url) {
        return Output(
            {"/usr/bin/curl", "-s", "-i", "--cacert", certificate, "-u", "alice:pass word", url});
    };
    EXPECT_TRUE(Contains(curl("https://" + address + Path("Info", "get")), "\"success\":true"));
    EXPECT_TRUE(Contains(curl("http://" + address + "/x"), "Location: https://" + address + "/x"));
}

// The proxy is configured by the lines of docs/system.md.
TEST_F(Served, LogsTheClientOfATrustedProxy) {
    Configure("trusted_proxies", "127.0.0.1");
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

TEST_F(Served, StartsAndStopsADatabaseThatIsDown) {
    ASSERT_TRUE(varn::host::StopCluster());
    server_ = std::make_unique<Command>(ServeWords({}));
    const fs::path running = At(varn::path::kClusterData) / "postmaster.pid";
    const auto isStarting = [&] { return fs::exists(running); };
    EXPECT_TRUE(Eventually(isStarting));
    // A second server is refused while the first one is still starting.
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
        Configure("trusted_proxies", proxies);
        EXPECT_TRUE(Contains(refusal("--port", std::to_string(port_)), "trusted_proxies"));
    }
}

}  // namespace

}  // namespace tonvale_test
