#include "varn/process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>

#include "platform/child.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "support/spawn.h"
#include "varn/base.h"

namespace {

using namespace tonvale_test;

constexpr char kShell[] = "/bin/sh";

FILE *Open(const char *path, const char *mode, const std::vector<std::string> &argv) {
    return VLIBCPopenv(path, mode, Arguments(argv).Get());
}

// What a shell prints; the test fails unless it ends well.
std::string ShellOutput(const std::string &script) {
    return Output({kShell, "-c", script});
}

class Process : public SystemTest {
  protected:
    // The process whose id a file holds ends. Its new parent may not have reaped it yet.
    static void ExpectEnd(const fs::path &pidFile) {
        const pid_t pid = std::stoi(ReadFile(pidFile));
        EXPECT_TRUE(Eventually([&] {
            const std::string state = StatusOf(pid, "State");
            return state.empty() || state.starts_with("Z");
        }));
    }
};

TEST_F(Process, ReturnsTheExitStatus) {
    const std::pair<const char *, int> cases[] = {
        {"exit 0", 0}, {"exit 255", 255}, {"kill -9 $$", 128 + SIGKILL}, {"kill -15 $$", 143}};
    for (const auto &[script, status] : cases) {
        EXPECT_EQ(VLIBCExec(kShell, "-c", script, nullptr), status) << script;
        EXPECT_EQ(VLIBCExecv(kShell, Arguments({"sh", "-c", script}).Get(), 1), status) << script;
    }
    EXPECT_EQ(VLIBCExec(kShell, "-c", "test $0 = /bin/sh", nullptr), 0);
    EXPECT_EQ(VLIBCExecv(kShell, Arguments({"other", "-c", "test $0 = other"}).Get(), 1), 0);
    EXPECT_EQ(VLIBCExecv("/bin/true", Arguments({}).Get(), 1), 0);
    // A parent that ignored SIGCHLD, as some web servers do, must not cost the status.
    EXPECT_TRUE(HoldsInChild([] {
        std::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(VLIBCExec(kShell, "-c", "exit 3", nullptr), 3);
    }));
}

TEST_F(Process, EndsAProgramThatTakesTooLong) {
    const auto run = [](const std::string &script, int seconds) {
        const auto start = std::chrono::steady_clock::now();
        const int status = VLIBCExecv(kShell, Arguments({"sh", "-c", script}).Get(), seconds);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << script;
        return status;
    };
    EXPECT_EQ(run("exit 7", 60), 7);
    EXPECT_EQ(run("exit 7", -1), 7) << "as with 1";
    EXPECT_EQ(run("exec sleep 1000", 2), 128 + SIGKILL);
    // Its children end with it.
    const fs::path started = scratch() / "started";
    EXPECT_EQ(run("trap '' TERM INT; sleep 1000 & echo $! > '" + started.string() + "'; wait", 2),
              128 + SIGKILL);
    ExpectEnd(started);
    EXPECT_EQ(VLIBCExecv("/nonexistent", Arguments({"x"}).Get(), 60), -1);
}

TEST_F(Process, TellsWhyAProgramCannotBeRun) {
    const fs::path plain = scratch() / "plain";
    const fs::path noFormat = scratch() / "no-format";
    std::ofstream(plain) << "text\n";
    std::ofstream(noFormat) << "text\n";
    fs::permissions(noFormat, fs::perms(0755));
    const std::pair<std::string, int> cases[] = {{"/nonexistent/program", ENOENT},
                                                 {"true", ENOENT},
                                                 {plain, EACCES},
                                                 {scratch(), EACCES},
                                                 {noFormat, ENOEXEC},
                                                 {"/" + std::string(5000, 'x'), ENAMETOOLONG},
                                                 {"", EINVAL}};
    const Arguments argv({"x"});
    for (const auto &[path, reason] : cases) {
        const char *program = path.c_str();
        const std::function<bool()> calls[] = {
            [&] { return VLIBCExec(program, "x", nullptr) == -1; },
            [&] { return VLIBCExecv(program, argv.Get(), 1) == -1; },
            [&] { return VLIBCExecv(program, argv.Get(), 0) == -1; },
            [&] { return VLIBCPopenv(program, "r", argv.Get()) == nullptr; }};
        for (const auto &call : calls) {
            VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
            errno = 0;
            EXPECT_TRUE(call()) << path;
            EXPECT_EQ(errno, reason) << path;
            EXPECT_NE(VLIBCErrGet(), VLIB_ERR_NONE) << path;
        }
    }
    for (const char *mode : {"", "rw", "x", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(VLIBCPopenv(kShell, mode, argv.Get()), nullptr);
    }
    FILE *foreign = std::fopen("/dev/null", "re");
    EXPECT_EQ(VLIBCPclose(foreign), -1);
    EXPECT_EQ(std::fclose(foreign), 0) << "it was not ours to close";
}

TEST_F(Process, PassesArgumentsThroughNoShell) {
    const std::vector<std::string> hostile = {
        "",           "a b", "$(touch evil)",         "`id`", "'\"", "\\", "*", "\xff",
        "two\nlines", "-n",  std::string(100000, 'x')};
    std::vector<std::string> argv = {"/usr/bin/printf", "%s\\n"};
    std::string expected;
    for (const std::string &text : hostile) {
        argv.push_back(text);
        expected += text + "\n";
    }
    EXPECT_EQ(Output(argv), expected);
}

TEST_F(Process, DetachesAProgramThatIsNotWaitedFor) {
    const std::string go = scratch() / "go";
    const std::string out = scratch() / "out";
    const std::string script =
        "while [ ! -e " + go +
        " ]; do sleep 0.01; done; (readlink "
        "/proc/self/fd/0 /proc/self/fd/2; cut -d' ' -f6 /proc/self/stat) > " +
        out + ".new; mv " + out + ".new " + out;
    ASSERT_EQ(VLIBCExecv(kShell, Arguments({"sh", "-c", script}).Get(), 0), 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "this process would have to reap it";
    std::ofstream(go).close();
    EXPECT_TRUE(Eventually([&] { return fs::exists(out); }));
    // A program that held this process's output open would keep its readers waiting.
    const std::string seen = ReadFile(out);
    EXPECT_TRUE(seen.starts_with("/dev/null\n/dev/null\n")) << seen;
    EXPECT_FALSE(seen.ends_with("\n" + std::to_string(getsid(0)) + "\n"));
}

TEST_F(Process, EndsAProgramWhoseReaderLeaves) {
    // Even if this process ignores SIGPIPE, and even if the program writes nothing.
    EXPECT_TRUE(HoldsInChild([] {
        std::signal(SIGPIPE, SIG_IGN);
        alarm(90);
        FILE *stream = Open("/usr/bin/yes", "r", {"yes"});
        FILE *silent = Open("/bin/sleep", "r", {"sleep", "1000"});
        ASSERT_TRUE(stream != nullptr && silent != nullptr);
        EXPECT_EQ(std::fgetc(stream), 'y');
        for (FILE *each : {stream, silent}) {
            EXPECT_TRUE(WIFSIGNALED(VLIBCPclose(each)));
        }
        // A program may go on after the end of its output.
        FILE *ending = Open(kShell, "r", {"sh", "-c", "exec >&-; sleep 0.2; exit 3"});
        EXPECT_EQ(TextOf(ending), "");
        EXPECT_EQ(WEXITSTATUS(VLIBCPclose(ending)), 3);
    }));
}

TEST_F(Process, LeaksNoDescriptorIntoChildren) {
    const int leaky = open("/etc/hostname", O_RDONLY);  // without close-on-exec
    const int high = fcntl(leaky, F_DUPFD, 900);
    FILE *stream = Open("/bin/cat", "w", {"cat"});
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC);
    for (const int fd : {leaky, high, fileno(stream)}) {
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        EXPECT_EQ(VLIBCExec("/usr/bin/readlink", link.c_str(), nullptr), 1) << fd;
    }
    EXPECT_EQ(VLIBCPclose(stream), 0);
    close(leaky);
    close(high);
}

TEST_F(Process, GivesChildrenCleanSignals) {
    EXPECT_TRUE(HoldsInChild([] {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGUSR1}) {
            std::signal(number, SIG_IGN);
        }
        EXPECT_EQ(ShellOutput("grep -cE '^Sig(Blk|Ign):.0000000000000000' /proc/self/status"),
                  "2\n");
        sigset_t after;
        sigprocmask(SIG_BLOCK, nullptr, &after);
        EXPECT_TRUE(sigismember(&after, SIGTERM)) << "this process's own mask stays";
    }));
}

TEST_F(Process, RunsWithStandardDescriptorsClosed) {
    EXPECT_TRUE(HoldsInChild([] {
        const char *script =
            "for fd in 0 1 2; do test /proc/self/fd/$fd -ef /dev/null || exit 1; done";
        for (int fd = 0; fd < 3; ++fd) {
            close(fd);
        }
        EXPECT_EQ(VLIBCExec(kShell, "-c", script, nullptr), 0);
        EXPECT_EQ(ShellOutput("echo out"), "out\n") << "a pipe that took a standard number";
    }));
}

TEST_F(Process, RunsAsTheEffectiveUserForGood) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root";
    }
    const std::string ids = "grep -E '^(Uid|Gid):' /proc/self/status | tr -s '\\t\\n' ' '";
    EXPECT_TRUE(HoldsInChild([&] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        EXPECT_EQ(ShellOutput(ids), "Uid: 1030 1030 1030 1030 Gid: 100 100 100 100 ");
        ASSERT_EQ(ResetCredentialsByName("root"), 0);
        EXPECT_EQ(ShellOutput(ids), "Uid: 0 0 0 0 Gid: 0 0 0 0 ");
    }));
}

TEST_F(Process, QuotesForAShell) {
    char quoted[256];
    for (const std::string text :
         {"", "plain", "a b", "it's", "'''", "$(id)`id`\\\"*", "two\nlines", "\xff\xc3", "-n"}) {
        ASSERT_EQ(VLIBCEncShParam(text.c_str(), quoted, sizeof quoted), 0) << text;
        EXPECT_EQ(ShellOutput("printf %s " + std::string(quoted)), text);
    }
    EXPECT_EQ(VLIBCEncShParam("12345", quoted, 8), 0);
    for (const char *text : {"123456", "'''"}) {
        EXPECT_EQ(VLIBCEncShParam(text, quoted, 8), -1);
        EXPECT_STREQ(quoted, "");
    }
    EXPECT_EQ(VLIBCEncShParam("x", quoted, 0), -1);
}

TEST_F(Process, EndsAStreamsProgramWithItsParent) {
    // The program neither reads nor writes, so no closed pipe ends it.
    const std::string pidFile = scratch() / "pid";
    EXPECT_TRUE(HoldsInChild([&] {
        EXPECT_NE(Open(kShell, "r", {"sh", "-c", "echo $$ >" + pidFile + "; exec sleep 1000"}),
                  nullptr);
        while (!ReadFile(pidFile).ends_with('\n')) {
            usleep(1000);
        }
    }));
    ExpectEnd(pidFile);
}

}  // namespace
