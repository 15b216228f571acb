#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "platform/child.h"
#include "support/fixture.h"
#include "tonvale/media.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::HoldsInChild;

constexpr char kShell[] = "/bin/sh";

int Exec(std::vector<std::string> words, int wait = 1) {
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    return VARNExec(argv.front(), argv.data(), wait);
}

int Shell(const std::string &script, int wait = 1) {
    return Exec({kShell, "-c", script}, wait);
}

int ChildFlags() {
    struct sigaction action = {};
    sigaction(SIGCHLD, nullptr, &action);
    return action.sa_flags & SA_NOCLDWAIT;
}

using ExecTest = tonvale_test::SystemTest;

TEST_F(ExecTest, GivesTheExitStatus) {
    const std::pair<const char *, int> cases[] = {
        {"exit 0", 0}, {"exit 7", 7}, {"exit 255", 255}, {"kill -9 $$", -1}, {"kill -HUP $$", -1},
    };
    for (const auto &[script, status] : cases) {
        EXPECT_EQ(Shell(script), status) << script;
    }
    EXPECT_EQ(Exec({"/nonexistent/program"}), 255);
    EXPECT_EQ(Exec({"sh"}), 255) << "nothing is looked for along PATH";
    EXPECT_EQ(Exec({scratch()}), 255);
    const std::string out = scratch() / "out";
    EXPECT_EQ(
        Exec({kShell, "-c", "printf '%s\\n' \"$@\" > " + out, "x", "$(id)", "a b", "", "\xFF"}), 0);
    EXPECT_EQ(ReadFile(out), "$(id)\na b\n\n\xFF\n");
}

TEST_F(ExecTest, RefusesNothingToRun) {
    char *none[] = {nullptr};
    EXPECT_EQ(VARNExec(nullptr, none, 1), -1);
    EXPECT_EQ(VARNExec(kShell, nullptr, 1), -1);
    // Where no process can be made that is told as well, and what was changed is put back.
    EXPECT_TRUE(HoldsInChild([] {
        const rlimit few = {0, 0};
        if (geteuid() == 0 && setresuid(1030, 1030, 1030) != 0) {
            return;
        }
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &few), 0);
        struct sigaction action = {};
        action.sa_flags = SA_NOCLDWAIT;
        ASSERT_EQ(sigaction(SIGCHLD, &action, nullptr), 0);
        EXPECT_EQ(Shell("exit 0"), -1);
        EXPECT_EQ(ChildFlags(), SA_NOCLDWAIT);
    }));
}

TEST_F(ExecTest, GivesNothingButDevNull) {
    const int leaky = open("/etc/hostname", O_RDONLY);  // without close-on-exec
    const int high = fcntl(leaky, F_DUPFD, 900);
    const std::string list = scratch() / "list";
    EXPECT_EQ(Shell("for fd in 0 1 2; do test /proc/self/fd/$fd -ef /dev/null || exit 1; done; "
                    "ls /proc/$$/fd > " +
                    list + "; echo seen; echo seen >&2"),
              0);
    for (const int fd : {leaky, high}) {
        EXPECT_EQ(("\n" + ReadFile(list)).find("\n" + std::to_string(fd) + "\n"),
                  std::string::npos);
        close(fd);
    }
    EXPECT_TRUE(Log().empty()) << "the program's words went to this process's output";
    EXPECT_TRUE(HoldsInChild([] {
        for (int fd = 0; fd < 3; ++fd) {
            close(fd);
        }
        EXPECT_EQ(Shell("test /proc/self/fd/0 -ef /dev/null && test -e /proc/self/fd/2"), 0);
        const rlimit none = {0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_EQ(Shell("exit 0"), 255) << "nothing runs with anything else";
    }));
}

TEST_F(ExecTest, RunsWhatCanBeEnded) {
    EXPECT_TRUE(HoldsInChild([] {
        for (const int number : {SIGTERM, SIGPIPE}) {
            std::signal(number, SIG_IGN);
            EXPECT_EQ(Shell("kill -" + std::to_string(number) + " $$"), -1) << number;
            EXPECT_EQ(std::signal(number, SIG_DFL), SIG_IGN) << "this process's own stays";
        }
    }));
}

TEST_F(ExecTest, DoesNotWaitUnlessAsked) {
    const fs::path go = scratch() / "go";
    EXPECT_EQ(Shell("while [ ! -e " + go.string() + " ]; do sleep 0.01; done; exit 3", 0), 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), 0) << "it runs";
    std::ofstream(go).close();
    int status = 0;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(Exec({"/nonexistent/program"}, 0), 0);
    EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

TEST_F(ExecTest, KeepsTheExitStatusWhateverIsSaidOfChildren) {
    EXPECT_TRUE(HoldsInChild([] {
        const std::pair<sighandler_t, int> cases[] = {
            {SIG_DFL, SA_NOCLDWAIT},
            // As a server may that never looks after its children.
            {SIG_IGN, 0},
            {SIG_IGN, SA_NOCLDWAIT},
        };
        for (const auto &[handler, flags] : cases) {
            struct sigaction action = {};
            action.sa_handler = handler;
            action.sa_flags = flags;
            ASSERT_EQ(sigaction(SIGCHLD, &action, nullptr), 0);
            EXPECT_EQ(Shell("exit 5"), 5);
            EXPECT_EQ(Shell("exit 5", 0), 0);
            EXPECT_EQ(ChildFlags(), flags) << "as it was";
            ASSERT_EQ(sigaction(SIGCHLD, nullptr, &action), 0);
            EXPECT_EQ(action.sa_handler, handler) << "as it was";
        }
    }));
    EXPECT_EQ(ChildFlags(), 0);
    // A signal on the way interrupts nothing.
    EXPECT_TRUE(HoldsInChild([] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
        ualarm(20'000, 20'000);
        EXPECT_EQ(Shell("sleep 0.2; exit 6"), 6);
    }));
}

}  // namespace
