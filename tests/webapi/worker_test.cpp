// entry.cgi as a worker: a listening socket at its standard input.
#include "entry/worker.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <regex>
#include <set>

#include "entry/action.h"
#include "sharing/shared_library.h"
#include "support/sockets.h"
#include "varn/process.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

// The web server's end of the socket from which workers take requests.
class Workers {
  public:
    Workers(const std::string &path) : path_(path) {
        EXPECT_TRUE(Bind(listening_, LocalAddress(path)) && listen(listening_, 64) == 0);
        chmod(path.c_str(), 0666);
    }
    ~Workers() {
        close(listening_);
        for (const pid_t worker : workers_) {
            kill(worker, SIGTERM);
            EXPECT_TRUE(EndedWell(worker));
        }
    }

    pid_t Start() {
        workers_.insert(Spawn(TONVALE_PROGRAM_DIR "/entry.cgi", {"entry.cgi"}, CgiEnvironment({}),
                              {{listening_, 0}}));
        return *workers_.rbegin();
    }
    // A worker in a fork of this process, which answers by this function.
    pid_t StartWith(void (*answer)()) {
        return StartInChild([&] {
            dup2(listening_, STDIN_FILENO);
            EXPECT_EQ(ResetCredentialsByName(varn::kPackageAccount), 0);
            EXPECT_EQ(tonvale_entry::RunWorker(answer), 0);
        });
    }
    // Kills a worker that is stopped.
    void Kill(pid_t worker) {
        kill(worker, SIGKILL);
        EXPECT_FALSE(EndedWell(worker));
        workers_.erase(worker);
    }

    int Send(const std::string &text) const {
        const int fd = ConnectTo(path_);
        send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        return fd;
    }
    static std::string AnswerOf(int fd) {
        std::string answer;
        char block[65536];
        pollfd waiting = {fd, POLLIN, 0};
        ssize_t got = 1;
        while (got > 0 && poll(&waiting, 1, 90'000) > 0) {
            got = recv(fd, block, sizeof block, 0);
            answer.append(block, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        }
        EXPECT_LE(got, 0) << "the worker hangs";
        close(fd);
        return answer;
    }
    std::string Ask(const Variables &variables, const std::string &body = "") const {
        return AnswerOf(Send(Packed(variables, body)));
    }

    static std::string Packed(const Variables &variables, const std::string &body = "") {
        std::string text = "CONTENT_LENGTH" + Zero() + std::to_string(body.size()) + Zero();
        for (const auto &[name, value] : variables) {
            text += name + Zero() + value + Zero();
        }
        return std::to_string(text.size()) + ":" + text + "," + body;
    }

  private:
    static std::string Zero() { return std::string(1, '\0'); }

    std::string path_;
    int listening_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::set<pid_t> workers_;
};

Variables GetOf(const std::string &query, const std::string &user = "alice") {
    return {{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}, {"REMOTE_USER", user}};
}

// Each API, its methods, and queries for them. OWN is a playlist of alice's. "@" is the number of a
// run: what one run has changed, the next one cannot change again.
constexpr char kQuestions[] = R"(
Album list limit=5
Artist list
Bookmark list remove song=music_99 set song=music_1&position=5
Composer list
Cover get id=music_1 url=ftp://x/
Description get
Favourite add songs=music_1 remove songs=music_1 list
Folder list
Genre list
Info get
MediaServer browse url=ftp://x/ list wait=0 stream url=ftp://x/&id=1
Pin pin type=artist&name=n@&criteria={%22artist%22:%22a@%22} list
  rename items=[{%22id%22:1,%22name%22:%22m%22}] reorder ids=1 unpin id=99
Play note songs=music_1
Player add_from_server url=ftp://x/&ids=1 control action=stop equalizer action=get info list
  password_test renderer=x queue volume action=card
Sharing create playlist_id=OWN
Playlist create name=new@ list get id=OWN add id=OWN&songs=music_1 replace id=OWN&songs=http://x/
  remove id=OWN&position=0&length=1 remove_missing id=OWN rename id=OWN&name=other@ delete id=OWN
  create_smart name=rule@&rule=x preview rule=x rule id=playlist_personal_smart/none
  set_rule id=playlist_personal_smart/none&rule=x
  get id=playlist_shared_normal/12&additional=song_tag
Queue get set songs=music_1 move song=music_1
Radio add name=n@&stream=http://x/ change id=99&name=n@&stream=http://x/ list remove id=99
Setting get set browse_personal_library=all
Sharing delete id=aaaaaaaa get id=abcdefgh list share_song id=music_1 get_song id=music_1
  unshare_song id=music_1 update id=aaaaaaaa
Sharing.Page cover sharing_id=abcdefgh&id=music_1 get sharing_id=abcdefgh
  page sharing_id=abcdefgh sharing_id=wronglnk stream sharing_id=abcdefgh&id=music_1
Song lyrics id=music_1 get id=music_1,music_2&additional=song_tag,song_rating
  list additional=song_tag,song_rating rate id=music_1&rating=3 id=music_p_BOBS&rating=3
  search keyword=o
Search all keyword=o albums keyword=o artists keyword=o composers keyword=o playlists keyword=o
Auth sessions
User keys list
Song get id=music_p_BOBS
Stream remote url=ftp://x/ stream id=music_1 id=music_p_BOBS id=music_1&format=ogg
Nothing get
)";

struct Question {
    std::string api, method, query;
};

std::vector<Question> Questions() {
    std::vector<Question> questions;
    std::string api;
    for (const std::string &word : Words(kQuestions)) {
        if (word[0] >= 'A' && word[0] <= 'Z') {
            api = word;
        } else if (!Contains(word, "=")) {
            questions.push_back({api, word, "x"});
        } else if (questions.back().query == "x") {
            questions.back().query = word;
        } else {
            questions.push_back({api, questions.back().method, word});
        }
    }
    return questions;
}

using Worker = SharedLibraryTest;

// One worker answers two users in turn as new processes do.
TEST_F(Worker, AnswersAsFreshProcesses) {
    WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": true, "usb": true,
                                         "playlist": true}, "1031": {"streaming": true}})");
    fs::permissions(At(varn::path::kUsersFile), fs::perms(0666));
    Touch(In("it's 100%_a\\b.mp3"), "sound");
    Touch(In("bobs.mp3"), "bob's");
    for (const char *run : {"1", "2"}) {
        Touch(In("hers" + std::string(run) + ".m3u"), "http://hers/\n");
        Query("INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 7" +
              std::string(run) + ", '" + In("hers" + std::string(run) + ".m3u") + "', 'hers')");
    }
    Query(
        "INSERT INTO playlist_sharing (id, user_id, user_name, playlist_id, path, avail_date, "
        "exp_date) VALUES ('abcdefgh', 1030, 'alice', 'playlist_shared_normal/12', '" +
        List() + "', '1970-01-01', '1970-01-01')");
    Workers workers(scratch() / "web.sock");
    const pid_t worker = workers.Start();
    std::set<std::string> asked;
    const auto replaced = [](const std::string &text, const char *name, const std::string &by) {
        return std::regex_replace(text, std::regex(name), by);
    };
    for (const auto &[api, method, given] : Questions()) {
        asked.insert(api + "." + method);
        const std::string query = "version=1&api=VARN.Tonvale." + api + "&method=" + method + "&" +
                                  replaced(replaced(given, "BOBS", std::to_string(bobs_)), "OWN",
                                           "playlist_personal_normal/7@");
        for (const char *user : {"alice", api == "Sharing.Page" ? "" : "bob"}) {
            // What a change makes has a name or a number of its own.
            const auto answer = [&](const char *run, const auto &ask) {
                return std::regex_replace(
                    ask(GetOf(replaced(query, "@", run), user)),
                    std::regex("(playlist_personal_normal/|playlist "
                               "'|\"changed\":|\"made\":|new|hers|\"id\":\"|sharing/"
                               "|\"n|\"a|nonce[-=]\"?|ETag: \")"
                               "([0-9]+|[A-Za-z0-9]{8}|[0-9a-f]{16}|[0-9a-f]{32})\\b"),
                    "$1#");
            };
            const std::string fresh =
                answer("1", [](const Variables &variables) { return RunCgi(variables); });
            EXPECT_EQ(answer("2", [&](const Variables &all) { return workers.Ask(all); }), fresh)
                << user << " " << query;
        }
    }
    for (const tonvale_entry::Api *api : tonvale_entry::AllApis()) {
        // Their answers tell of one login, scan or connection, and are never the same.
        if (Contains("Auth Download Events Index User", std::string(api->name.substr(13)))) {
            continue;
        }
        for (const auto &method : api->methods) {
            const std::string name =
                std::string(api->name.substr(13)) + "." + std::string(method.name);
            EXPECT_TRUE(asked.contains(name)) << name;
        }
    }
    EXPECT_NE(StatusOf(worker, "Uid"), "") << "no request has ended the worker";
    EXPECT_FALSE(Logged("this worker ends"));
}

TEST_F(Worker, SurvivesBadRequestsAndClientsThatLeave) {
    Workers workers(scratch() / "web.sock");
    const pid_t worker = workers.Start();
    const Variables question = GetOf("version=1&api=VARN.Tonvale.Info&method=get");
    const std::string whole = Workers::Packed(question);
    for (const std::string &bad :
         {std::string("x"), std::string(":"), std::string("70000:"), std::string("999999999"),
          std::string("2:a=,"), std::string("4:a\0b\0;", 7), std::string("5:a=\0b\0,", 8),
          std::string("3:a\0b,", 6), whole.substr(0, 20), whole.substr(0, whole.size() - 1),
          "68000:" + std::string(68000, 'x'),
          Workers::Packed({{"REQUEST_METHOD", "POST"}}, "body").substr(0, 44)}) {
        const int fd = workers.Send(bad);
        shutdown(fd, SHUT_WR);
        EXPECT_EQ(Workers::AnswerOf(fd), "") << bad.substr(0, 30);
    }
    const int half = workers.Send(whole.substr(0, 20));  // and nothing more
    const std::string info = RunCgi(question);
    EXPECT_EQ(workers.Ask(question), info);
    EXPECT_EQ(Workers::AnswerOf(half), "");
    // A client that leaves, and a body that is too long to be read.
    close(workers.Send(whole));
    EXPECT_TRUE(Contains(workers.Ask({{"REQUEST_METHOD", "POST"}, {"REMOTE_USER", "alice"}},
                                     std::string(2 << 20, 'x')),
                         "400"));
    EXPECT_NE(StatusOf(worker, "Uid"), "");
    // A killed worker loses no request but its own.
    kill(worker, SIGSTOP);
    const int lost = workers.Send(whole);
    workers.Kill(worker);
    workers.Start();
    EXPECT_EQ(Workers::AnswerOf(lost), info) << "the next worker takes it";
    EXPECT_EQ(workers.Ask(question), info);
}

// What a request may change in its process, by name.
constexpr std::pair<const char *, void (*)()> kChanges[] = {
    {"umask", [] { umask(0); }},
    {"folder", [] { EXPECT_EQ(chdir("/tmp"), 0); }},
    {"file", [] { open("/dev/null", O_RDONLY); }},
    {"child", [] { fork() == 0 ? _exit(0) : void(); }},
    {"signal", [] { std::signal(SIGUSR1, SIG_IGN); }},
    {"mask",
     [] {
         sigset_t all;
         sigfillset(&all);
         sigprocmask(SIG_BLOCK, &all, nullptr);
     }},
    {"memory",
     [] {
         constexpr std::size_t kMuch = std::size_t{300} << 20;
         std::memset(std::malloc(kMuch), 1, kMuch);
     }},
    {"end", [] { kill(getpid(), SIGTERM); }},  // ends after the request
    {"crash", [] { _exit(1); }},
};

// Answers with the environment, and makes the change that the request names.
void Change() {
    const std::string what = std::getenv("HTTP_WHAT");
    std::printf("%s %s%s", what.c_str(), std::getenv("HTTP_SECRET") != nullptr ? "secret" : "",
                std::getenv("LD_SECRET") != nullptr ? " of the loader" : "");
    for (const auto &[name, change] : kChanges) {
        if (what == name) {
            change();
        }
    }
}

TEST_F(Worker, EndsAfterARequestThatChangesIt) {
    Workers workers(scratch() / "web.sock");
    for (const auto &[name, change] : kChanges) {
        const std::string what = name;
        const pid_t worker = workers.StartWith(Change);
        EXPECT_EQ(workers.Ask({{"HTTP_WHAT", "none"}, {"HTTP_SECRET", "x"}, {"LD_SECRET", "x"}}),
                  "none secret");
        EXPECT_EQ(workers.Ask({{"HTTP_WHAT", what}}), what == "crash" ? "" : what + " ");
        EXPECT_EQ(EndedWell(worker), what != "crash") << what;
    }
    for (const char *what : {"umask", "working directory", "open files", "children", "signals"}) {
        EXPECT_TRUE(Logged("A request has changed .*" + std::string(what))) << what;
    }
}

}  // namespace
