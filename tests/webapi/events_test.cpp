// Scans, and listeners to events.
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <deque>

#include "ctrl/scripted_daemon.h"
#include "service/live/event_socket.h"
#include "service/people/keys.h"
#include "varn/logins.h"
#include "varn/scan_state.h"
#include "webapi/served.h"

namespace tonvale_test {

namespace {

using namespace std::chrono_literals;
using tonvale_service::Proof;

class Events : public Served {
  protected:
    void SetUp() override {
        Served::SetUp();
        MakeAdministrator("alice");
    }

    int Index(const std::string &method, const std::string &fields = Login("alice")) const {
        const std::string form = "api=VARN.Tonvale.Index&version=1&method=" + method;
        return StrictJson(Post(kEntry, form, fields).body)["error"]["code"].asInt();
    }
    Json::Value State() const { return StrictJson(Get(Path("Index", "state")).body)["data"]; }
    // The header field of a new session.
    std::string Session(const std::string &user) const {
        const HttpAnswer answer =
            Post("/webapi/VARN.Tonvale.Auth/login", "name=" + user + "&password=pass+word");
        const std::string cookie = FieldOf(answer.header, "Set-Cookie");
        return "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
    }
};

// A listener, and what it has heard.
class Heard {
  public:
    Heard(int port, const std::string &request) : client_(port) { client_.Send(request); }

    bool Gets(const std::string &part) {
        return Eventually([&] {
            client_.Read(text_.size() + 1, text_, 20ms);
            return Contains(text_, part);
        });
    }
    // Until the server closes the connection.
    std::string Rest() {
        EXPECT_TRUE(client_.Read(std::string::npos, text_)) << text_;
        return text_;
    }
    void Forget() { text_.clear(); }
    const std::string &Text() const { return text_; }

  private:
    HttpClient client_;
    std::string text_;
};

// A locked table holds the indexer in the middle of a scan.
TEST_F(Events, StartsShowsAndStopsScans) {
    const fs::path music = scratch() / "music";
    fs::create_directory(music);
    MakeSound(music / "1.wav", 8000);
    WriteFile(varn::path::kIndexFolders, music.string() + "\n");
    Serve();
    EXPECT_FALSE(State()["is_watched"].asBool());
    EXPECT_EQ(Index("start"), 503) << "no indexer runs";
    EXPECT_EQ(Index("stop"), 404);
    Stop();
    ServeWith({}, "http://127.0.0.1");
    Heard administrator(port_, Request(Path("Events", "listen"), Login("alice")));
    Heard other(port_, Request(Path("Events", "listen"), Login("bob")));
    ASSERT_TRUE(Eventually([] { return Value("SELECT count(*) FROM track") == "1"; }));
    EXPECT_TRUE(Eventually([&] { return State()["changes"]["added"] == 1; }));
    EXPECT_TRUE(other.Gets("data: {\"is_running\":false}\n"));

    const varn::Connection locker = varn::ConnectLibrary(varn::Server::kLocal);
    const auto isIdle = [&] {  // the indexer gathers changes for a second
        const Json::Value before = State();
        std::this_thread::sleep_for(1200ms);
        return before == State() && before["is_running"] == false;
    };
    const auto hold = [&] {
        EXPECT_TRUE(Eventually(isIdle));
        ASSERT_EQ(VARNDBExecute(locker.get(), "BEGIN; LOCK TABLE track", nullptr), 0);
        EXPECT_EQ(Index("start"), 0);
        EXPECT_TRUE(Eventually([&] { return State()["is_whole"].asBool(); }));
    };
    hold();
    EXPECT_TRUE(administrator.Gets("\"is_whole\":true"));
    EXPECT_TRUE(other.Gets("data: {\"is_running\":true}\n"));
    EXPECT_EQ(Index("start"), 409);
    for (int number = 2; number < 50; ++number) {
        fs::copy_file(music / "1.wav", music / (std::to_string(number) + ".wav"));
    }
    EXPECT_EQ(Index("stop"), 0);
    EXPECT_EQ(VARNDBExecute(locker.get(), "ROLLBACK", nullptr), 0);
    EXPECT_TRUE(Eventually([&] { return Contains(State()["problem"].asString(), "was stopped"); }));
    EXPECT_EQ(Index("start"), 0);
    EXPECT_TRUE(Eventually([] { return Value("SELECT count(*) FROM track") == "49"; }));
    EXPECT_TRUE(Eventually([&] { return State()["problem"] == ""; }));

    // The last state of a killed indexer does not count, and a new indexer goes on.
    hold();
    const std::vector<pid_t> indexers = ChildrenOf(server_->Id(), "varnindex");
    ASSERT_EQ(indexers.size(), 1U);
    kill(indexers.front(), SIGKILL);
    EXPECT_TRUE(Eventually([&] { return !State()["is_running"].asBool(); }));
    EXPECT_EQ(State()["ended"], 0);
    EXPECT_EQ(VARNDBExecute(locker.get(), "ROLLBACK", nullptr), 0);
    EXPECT_TRUE(Eventually([&] { return State()["is_watched"] == true && State()["ended"] != 0; }));
    EXPECT_EQ(Tonvale({"index", (music / "1.wav").string()}).status, 0);
    EXPECT_TRUE(Eventually([&] { return State()["is_running"] == false; }));
}

// Logins end in several ways, each for its own listeners.
TEST_F(Events, TellsListenersUntilTheirLoginEnds) {
    Serve();
    const std::string key = tonvale_service::NewKey(kBob, "bob", "x");
    const std::array fields = {Session("alice"), Session("bob"), Session("bob"),
                               "Authorization: Bearer " + key + "\r\n", Login("bob")};
    std::deque<Heard> streams;
    for (const std::string &one : fields) {
        EXPECT_TRUE(streams.emplace_back(port_, Request(Path("Events", "listen"), one))
                        .Gets("event: library\ndata: {\"playlists\":"));
        EXPECT_TRUE(Contains(streams.back().Text(), "\r\nContent-Type: text/event-stream\r\n"));
    }
    EXPECT_FALSE(Contains(streams[1].Text(), "phase"));
    Post(kEntry, "api=VARN.Tonvale.Auth&version=1&method=logout", fields[1]);
    tonvale_service::RemoveKeys(kBob);
    EXPECT_TRUE(Contains(streams[1].Rest(), "event: bye\ndata: {\"reason\":\"login\"}\n"));
    EXPECT_TRUE(Contains(streams[3].Rest(), "event: bye"));
    for (Heard &stream : streams) {
        stream.Forget();
    }
    Query(InsertSql({.id = 1, .path = "/nowhere", .title = "song"}));
    for (const int left : {0, 2, 4}) {
        EXPECT_TRUE(streams[left].Gets("event: library")) << left;
        EXPECT_FALSE(Contains(streams[left].Text(), "bye"));
    }
    ASSERT_TRUE(varn::SetLogin("bob", "another one"));
    EXPECT_TRUE(Contains(streams[2].Rest(), "event: bye"));
    EXPECT_TRUE(Contains(streams[4].Rest(), "event: bye"));
    EXPECT_EQ(Get(Path("Events", "listen"), "").Status(), 401);
    EXPECT_EQ(Get(Path("Events", "listen"), Login("bob")).Status(), 401);
    Stop();
    EXPECT_FALSE(Contains(streams[0].Rest(), "bye"));
    ServeCgi();
    EXPECT_TRUE(Contains(Get(Path("Events", "listen")).body, "tonvale serve"));
}

TEST_F(Events, TellsThePlayersStateToUsersWhoMayPlay) {
    std::atomic<const char *> title = "one";
    ScriptedDaemon daemon([&](int client) {
        ScriptedDaemon::Say(client, std::string(R"({"song":{"path":"/m/x.flac","title":")") +
                                        title.load() + R"("},"success":true})");
    });
    Serve();
    Heard player(port_, Request(Path("Events", "listen"), Login("alice")));
    Heard other(port_, Request(Path("Events", "listen"), Login("bob")));
    for (const char *one : {"one", "two"}) {
        title = one;
        EXPECT_TRUE(player.Gets(std::string("\"song\":{\"title\":\"") + one + "\"}"))
            << player.Text();
    }
    EXPECT_TRUE(Contains(player.Text(), "event: player\ndata: {\"can\":"));
    Query(InsertSql({.id = 1, .path = "/nowhere"}));
    other.Forget();
    EXPECT_TRUE(other.Gets("event: library"));
    EXPECT_FALSE(Contains(other.Text(), "event: player"));
}

// The ninth listener of a session replaces its first.
TEST_F(Events, KeepsWorkersFreeOfListeners) {
    Serve();
    const auto workers = [this] { return ChildrenOf(server_->Id(), "entry.cgi"); };
    const std::vector<pid_t> before = workers();
    const std::string session = Session("alice");
    std::deque<Heard> streams;
    for (int count = 0; count < 9; ++count) {
        EXPECT_TRUE(streams.emplace_back(port_, Request(Path("Events", "listen"), session))
                        .Gets("event: scan"));
    }
    EXPECT_TRUE(Contains(streams[0].Rest(), "{\"reason\":\"replaced\"}"));
    EXPECT_EQ(Get(Path("Events", "listen"), Session("alice")).Status(), 429) << "another session";
    EXPECT_TRUE(Contains(Get(Path("Info", "get"), session).body, "\"success\":true"));
    EXPECT_EQ(workers(), before);
}

// Connections that come to tonvale-events without a web server.
class Teller : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        ASSERT_TRUE(varn::SetLogin("alice", "pass word"));
        events_ = std::make_unique<Command>(std::vector<std::string>{}, "", "tonvale-events");
        EXPECT_TRUE(Eventually([] { return fs::exists(At(varn::path::kEventSocket)); }));
    }
    void TearDown() override {
        listeners_.clear();
        events_->Signal(SIGTERM);
        events_.reset();
        DatabaseTest::TearDown();
    }
    int Listen(uid_t uid, const std::string &name, int session = 0) {
        int ends[2] = {-1, -1};
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
        const varn::UniqueFd given(ends[0]);
        listeners_.emplace_back(ends[1]);
        tonvale_service::HandOver(session == 0 ? Proof::kPassword : Proof::kSession,
                                  {uid, name, session}, given.Get());
        return ends[1];
    }
    static std::string Read(int listener) {
        const std::chrono::milliseconds patience = kPatience;
        pollfd waiting = {listener, POLLIN, 0};
        char block[65536];
        const ssize_t got = poll(&waiting, 1, static_cast<int>(patience.count())) > 0
                                ? recv(listener, block, sizeof block, 0)
                                : -1;
        return got < 0 ? "nothing" : std::string(block, static_cast<std::size_t>(got));
    }

    std::unique_ptr<Command> events_;
    std::deque<varn::UniqueFd> listeners_;
};

// The first check, which would find that these users do not exist, comes later.
TEST_F(Teller, BoundsAllListeners) {
    for (int count = 0; count < 200; ++count) {
        Listen(2000 + count / 8, "user" + std::to_string(count / 8));
    }
    EXPECT_TRUE(Contains(Read(Listen(kAlice, "alice")), "Status: 503 "));
    EXPECT_TRUE(Contains(Read(Listen(2000, "user0", 5)), "Status: 429 "));
    EXPECT_TRUE(Contains(Read(listeners_.front().Get()), "Status: 200 "));
}

TEST_F(Teller, DropsAListenerThatDoesNotRead) {
    MakeAdministrator("alice");
    const int slow = Listen(kAlice, "alice");
    const int quick = Listen(kAlice, "alice");
    EXPECT_TRUE(Contains(Read(quick), "Status: 200 "));
    bool isDropped = false;
    for (int round = 0; round < 40 && !isDropped; ++round) {
        varn::scan::Publisher scan(true);
        scan.Tell(std::string(1900, '\1'));
        scan.StartPhase("looking", round);
        EXPECT_TRUE(Contains(Read(quick), "event: "));
        pollfd end = {slow, POLLRDHUP, 0};
        isDropped = poll(&end, 1, 0) > 0;
    }
    EXPECT_TRUE(isDropped);
    EXPECT_TRUE(Contains(Read(quick), "event: "));
}

}  // namespace

}  // namespace tonvale_test
