// request-bench PORT NAME:PASSWORD SONG PATH: what a JSON request for one song is made of, and how
// much later than the encoder's own the first byte of a stream comes. SONG is the song's row id,
// PATH its file. Medians, in milliseconds.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tonvale/action.h"
#include "tonvale/library.h"
#include "varn/crypt.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRounds = 41;

double Median(const std::function<double()> &measure) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        times.push_back(measure());
    }
    std::nth_element(times.begin(), times.begin() + kRounds / 2, times.end());
    return times[kRounds / 2];
}

double Milliseconds(const std::function<void()> &work) {
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

[[noreturn]] void Fail(const char *what) {
    std::fprintf(stderr, "request-bench: %s failed\n", what);
    std::exit(1);
}

struct Started {
    pid_t pid;
    int output;
};

Started Start(const std::vector<std::string> &arguments) {
    std::vector<char *> argv;
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        Fail("pipe");
    }
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDOUT_FILENO);
    pid_t child = -1;
    if (posix_spawn(&child, argv[0], &files, nullptr, argv.data(), environ) != 0) {
        Fail(argv[0]);
    }
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    return {child, ends[0]};
}

// Runs a program until it ends or, with `firstByte`, until it has written one byte; then nobody
// reads, and it ends by itself.
void Run(const std::vector<std::string> &arguments, bool firstByte) {
    const Started program = Start(arguments);
    char block[65536];
    while (read(program.output, block, firstByte ? 1 : sizeof block) > 0 && !firstByte) {
    }
    close(program.output);
    if (!firstByte) {
        waitpid(program.pid, nullptr, 0);
    }
}

void Reap() {
    while (waitpid(-1, nullptr, 0) > 0) {
    }
}

std::string Base64(const std::string &text) {
    std::string encoded(text.size() * 2 + 8, '\0');
    VLIBCBase64SzEncodeOneLine(text.c_str(), encoded.data(), encoded.size());
    return encoded.c_str();
}

// Asks the web server and reads until there is a byte of the answer's body.
void AskForFirstByte(int port, const std::string &login, const std::string &query) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string request = "GET /webapi/entry.cgi?" + query +
                                " HTTP/1.0\r\nAuthorization: Basic " + Base64(login) + "\r\n\r\n";
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        send(fd, request.data(), request.size(), 0) != static_cast<ssize_t>(request.size())) {
        Fail("connecting to the web server");
    }
    std::string answer;
    char block[4096];
    for (ssize_t got; (got = recv(fd, block, sizeof block, 0)) > 0;) {
        answer.append(block, static_cast<std::size_t>(got));
        const std::size_t end = answer.find("\r\n\r\n");
        if (end != answer.npos && answer.size() > end + 4) {
            break;
        }
    }
    close(fd);
    if (!answer.starts_with("HTTP/1.0 200") && !answer.starts_with("HTTP/1.1 200")) {
        Fail("the request");
    }
}

class Silent : public ActionHandler {
  public:
    bool Process() override { return true; }
};

// Standard output to /dev/null, for what writes its answer there.
void WriteAnswer() {
    Json::Value reply(Json::objectValue);
    reply["data"]["songs"][0]["title"] = "One song";
    Silent action;
    action.SetSuccess(reply, true);
    action.PrintResponse(reply, nullptr);
}

double OutputTime() {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    const double time = Median([] { return Milliseconds(WriteAnswer); });
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(null);
    return time;
}

double ConnectTime() {
    return Median([] { return Milliseconds([] { VARNDBClose(AudioInfoDBConnect()); }); });
}

double OpenTime(int song) {
    const std::string condition = *varn::Sql("id = @VARN:INT", song);
    return Median([&] {
        return Milliseconds([&] {
            MEDIA_DB_HANDLE *rows =
                AudioInfoDBOpen("actual", 1024, VARN_TABLE_MUSIC, "id, path, title",
                                condition.c_str(), nullptr, nullptr, 0, 1, 0);
            VARN_MEDIA_INFO info;
            if (MediaInfoDBGet(rows, &info) != 0) {
                Fail("looking the song up");
            }
            AudioInfoDBClose(rows);
        });
    });
}

void BenchRequest(const std::string &cgi, int song) {
    setenv("REQUEST_METHOD", "GET", 1);
    setenv("REMOTE_USER", "admin", 1);
    const auto ask = [&](const std::string &query) {
        setenv("QUERY_STRING", query.c_str(), 1);
        return Median([&] { return Milliseconds([&] { Run({cgi}, false); }); });
    };
    const double start = ask("");
    const double whole =
        ask("version=1&api=VARN.Tonvale.Song&method=get&id=music_" + std::to_string(song));
    const double connect = ConnectTime();
    std::printf(
        "A JSON request for one song: process %.1f, connect %.1f, query %.1f, output %.2f; "
        "the whole request %.1f ms\n",
        start, connect, OpenTime(song) - connect, OutputTime(), whole);
}

void BenchFirstByte(int port, const std::string &login, int song, const std::string &path) {
    const std::string encoder = SystemPath(varn::path::kEncoder);
    for (const char *format : {"mp3", "wav"}) {
        const double own = Median([&] {
            const double time = Milliseconds([&] {
                Run({encoder, "-v", "0", "-ss", "0", "-i", path, "-vn", "-f", format, "-"}, true);
            });
            Reap();
            return time;
        });
        const std::string query = "version=1&api=VARN.Tonvale.Stream&method=stream&id=music_" +
                                  std::to_string(song) + "&format=" + format;
        const double ours =
            Median([&] { return Milliseconds([&] { AskForFirstByte(port, login, query); }); });
        std::printf(
            "The first byte of %s: the encoder's own %.1f, over HTTP %.1f, later by %.1f ms\n",
            format, own, ours, ours - own);
    }
}

// The most memory, in KiB, that a process has held so far.
long PeakMemory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::atol(line.c_str() + 6);
        }
    }
    return 0;
}

// Looked at when half a megabyte has gone through: its children's memory is not its own.
void BenchMemory(const std::string &cgi, int song) {
    const std::string query =
        "version=1&api=VARN.Tonvale.Stream&method=stream&format=mp3&id=music_" +
        std::to_string(song);
    setenv("QUERY_STRING", query.c_str(), 1);
    const Started handler = Start({cgi});
    char block[4096];
    long total = 0;
    for (ssize_t got; total < 500000 && (got = read(handler.output, block, sizeof block)) > 0;) {
        total += got;
    }
    std::printf("The most memory that a handler held while it streamed: %ld KiB\n",
                PeakMemory(handler.pid));
    close(handler.output);
    Reap();
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 5) {
        std::fprintf(stderr, "Usage: request-bench PORT NAME:PASSWORD SONG PATH\n");
        return 2;
    }
    const auto here = std::filesystem::canonical("/proc/self/exe").parent_path();
    const std::string cgi = here / "entry.cgi";
    const int song = std::atoi(argv[3]);
    BenchRequest(cgi, song);
    BenchFirstByte(std::atoi(argv[1]), argv[2], song, argv[4]);
    BenchMemory(cgi, song);
    return 0;
}
