#include "children.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <thread>
#include <utility>

#include "complain.h"

namespace tonvale_cli {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 20s;
constexpr auto kPollInterval = 20ms;
constexpr auto kAtOnce = 2s;         // a process that lives for a shorter time ended at once
constexpr auto kFirstPause = 100ms;  // after such an end; doubled with each
constexpr std::chrono::milliseconds kLongestPause = 10s;
constexpr timespec kLookInterval{1, 0};

constexpr int kEndingSignals[] = {SIGTERM, SIGINT, SIGHUP};

sigset_t HeldSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (const int number : kEndingSignals) {
        sigaddset(&signals, number);
    }
    return signals;
}

std::vector<char *> Pointers(const std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (const std::string &text : texts) {
        pointers.push_back(const_cast<char *>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Becomes the program, in a group of its own, which a terminal's Ctrl-C does not reach. It ends
// with its parent.
[[noreturn]] void Become(const Kept &program, int log, pid_t parent) {
    setpgid(0, 0);
    const sigset_t signals = HeldSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    // A program without root's rights cannot raise its own limit beyond this.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    const int input = program.socket >= 0 ? program.socket : open("/dev/null", O_RDONLY);
    if (prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && getppid() == parent &&
        dup2(input, STDIN_FILENO) >= 0 && dup2(log, STDOUT_FILENO) >= 0 &&
        dup2(log, STDERR_FILENO) >= 0) {
        const char *const path = program.arguments.front().c_str();
        const std::vector<char *> arguments = Pointers(program.arguments);
        execve(path, arguments.data(),
               program.environment.empty() ? environ : Pointers(program.environment).data());
        std::perror(path);
    }
    _exit(127);
}

std::string HowItEnded(int status) {
    return WIFSIGNALED(status)
               ? std::string("was ended by a signal: ") + sigdescr_np(WTERMSIG(status))
               : "ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Children::Children(int log) : log_(log) {
    // What outlives a child becomes a child of this process.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Children::~Children() {
    // The first program goes first: the others work for it. A change that is under way is
    // finished.
    for (const Program &program : programs_) {
        std::vector<pid_t> groups;
        for (const Process &process : program.running) {
            groups.push_back(process.pid);
        }
        if (&program == &programs_.back()) {
            groups = groups_;
        }
        if (!EndGroups(groups, SIGTERM)) {
            EndGroups(groups, SIGKILL);
        }
    }
}

void Children::Keep(Kept program) {
    StartMissing(programs_.emplace_back(Program{std::move(program)}));
}

void Children::Look() {
    Reap();
    for (Program &program : programs_) {
        StartMissing(program);
    }
    std::erase_if(groups_, [](pid_t group) { return kill(-group, 0) != 0 && errno == ESRCH; });
}

bool Children::AreWhole() const {
    return std::all_of(programs_.begin(), programs_.end(),
                       [](const Program &program) { return program.complaint.empty(); });
}

void Children::Reap() {
    int status = 0;
    for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0;) {
        if (WIFSTOPPED(status)) {
            kill(pid, SIGKILL);  // others wait for what it holds
            continue;
        }
        for (Program &program : programs_) {
            const auto process =
                std::find_if(program.running.begin(), program.running.end(),
                             [pid](const Process &running) { return running.pid == pid; });
            if (process != program.running.end()) {
                NoteEnd(program, *process, status);
                program.running.erase(process);
                break;
            }
        }
    }
}

void Children::NoteEnd(Program &program, const Process &process, int status) {
    const auto now = Clock::now();
    const bool isAtOnce = now - process.start < kAtOnce;
    const std::string &path = program.kept.arguments.front();
    const std::string news = isAtOnce || status != 0 ? path + " " + HowItEnded(status) : "";
    if (!news.empty() && news != program.complaint) {
        Complain(news + "; another one is started");
    }
    program.complaint = isAtOnce ? news : "";
    program.pause = isAtOnce ? std::clamp<std::chrono::milliseconds>(program.pause * 2, kFirstPause,
                                                                     kLongestPause)
                             : 0ms;
    program.nextStart = now + program.pause;
    if (program.kept.socket < 0) {
        kill(-process.pid, SIGKILL);  // its own workers, which hold what the next one needs
    }
}

void Children::StartMissing(Program &program) {
    while (program.running.size() < program.kept.count && Clock::now() >= program.nextStart) {
        const pid_t pid = Start(program.kept);
        if (pid < 0) {
            program.nextStart = Clock::now() + kLongestPause;
            Complain("cannot start a process: " + std::string(std::strerror(errno)));
            return;
        }
        setpgid(pid, pid);  // by parent and child: neither goes on before it is done
        program.running.push_back({pid, Clock::now()});
        groups_.push_back(pid);
    }
}

pid_t Children::Start(const Kept &program) const {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
        Become(program, log_, parent);
    }
    return pid;
}

bool Children::EndGroups(const std::vector<pid_t> &groups, int signal) {
    for (const pid_t group : groups) {
        kill(-group, signal);
    }
    // With the id 1 this process has children that it did not start: only the groups count.
    const auto isGone = [](pid_t group) { return kill(-group, 0) != 0 && errno == ESRCH; };
    for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        if (std::all_of(groups.begin(), groups.end(), isGone)) {
            return true;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return false;
}

void Children::HoldSignals() {
    const sigset_t signals = HeldSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

bool Children::WaitForSignal() {
    const sigset_t signals = HeldSignals();
    const int number = sigtimedwait(&signals, nullptr, &kLookInterval);
    return number > 0 && number != SIGCHLD;
}

bool Children::IsAskedToEnd() {
    sigset_t pending;
    return sigpending(&pending) == 0 &&
           std::any_of(std::begin(kEndingSignals), std::end(kEndingSignals),
                       [&](int number) { return sigismember(&pending, number) == 1; });
}

}  // namespace tonvale_cli
