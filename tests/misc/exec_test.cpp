#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "platform/child.h"
#include "support/fixture.h"
#include "support/spawn.h"
#include "tonvale/media.h"

namespace {

using namespace tonvale_test;

constexpr char kShell[] = "/bin/sh";

int Exec(std::vector<std::string> words, int wait = 1) {
    const Arguments argv(std::move(words));
    return VARNExec(argv.Get()[0], argv.Get(), wait);
}

int Shell(const std::string &script, int wait = 1) {
    return Exec({kShell, "-c", script}, wait);
}

using ExecTest = SystemTest;

TEST_F(ExecTest, ReturnsTheExitStatus) {
    const std::pair<const char *, int> cases[] = {
        {"exit 0", 0}, {"exit 7", 7}, {"exit 255", 255}, {"kill -9 $$", -1}};
    for (const auto &[script, status] : cases) {
        EXPECT_EQ(Shell(script), status) << script;
    }
    // PATH is not searched.
    for (const std::string &none : {std::string("/none"), std::string("sh"), scratch().string()}) {
        EXPECT_EQ(Exec({none}), 255) << none;
    }
    const std::string out = scratch() / "out";
    EXPECT_EQ(
        Exec({kShell, "-c", "printf '%s\\n' \"$@\" > " + out, "x", "$(id)", "a b", "", "\xFF"}), 0);
    EXPECT_EQ(ReadFile(out), "$(id)\na b\n\n\xFF\n");
    EXPECT_EQ(VARNExec(nullptr, nullptr, 1), -1);
    EXPECT_EQ(VARNExec(kShell, nullptr, 1), -1);
    EXPECT_TRUE(HoldsInChild([] {
        for (const int number : {SIGTERM, SIGPIPE}) {
            std::signal(number, SIG_IGN);
            EXPECT_EQ(Shell("kill -" + std::to_string(number) + " $$"), -1)
                << "the program ignores the signal";
            EXPECT_EQ(std::signal(number, SIG_DFL), SIG_IGN)
                << "this process's own setting is kept";
        }
    }));
}

TEST_F(ExecTest, PassesNoDescriptorButDevNull) {
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
    EXPECT_TRUE(Log().empty()) << "the program wrote to this process's output";
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

// A server that does not wait for its children says so in one of two ways.
TEST_F(ExecTest, KeepsTheExitStatusUnlessChildrenAreIgnored) {
    EXPECT_TRUE(HoldsInChild([] {
        const std::pair<sighandler_t, int> cases[] = {
            {SIG_IGN, 0}, {SIG_IGN, SA_NOCLDWAIT}, {SIG_DFL, SA_NOCLDWAIT}};
        struct sigaction action = {};
        for (const auto &[handler, flags] : cases) {
            action.sa_handler = handler;
            action.sa_flags = flags;
            ASSERT_EQ(sigaction(SIGCHLD, &action, nullptr), 0);
            EXPECT_EQ(Shell("exit 5"), handler == SIG_IGN ? -1 : 5);
            EXPECT_EQ(Shell("exit 5", 0), 0);
            ASSERT_EQ(sigaction(SIGCHLD, nullptr, &action), 0);
            EXPECT_TRUE(action.sa_handler == handler && (action.sa_flags & SA_NOCLDWAIT) == flags)
                << "put back";
        }
        // A signal does not interrupt the wait. If fork fails, the setting is put back.
        action.sa_handler = [](int) {};
        ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
        ualarm(20'000, 20'000);
        EXPECT_EQ(Shell("sleep 0.2; exit 6"), 6);
        const rlimit none = {0, 0};
        if (geteuid() == 0 && setresuid(1030, 1030, 1030) == 0 &&
            setrlimit(RLIMIT_NPROC, &none) == 0) {
            EXPECT_EQ(Shell("exit 0"), -1);
            EXPECT_EQ(sigaction(SIGCHLD, nullptr, &action), 0);
            EXPECT_EQ(action.sa_flags & SA_NOCLDWAIT, SA_NOCLDWAIT);
        }
    }));
}

}  // namespace
