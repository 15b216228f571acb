// Child processes that are kept running: another one is started for each that ends.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace tonvale_cli {

// A program, and how many processes of it run.
struct Kept {
    std::vector<std::string> arguments;  // the program's path first
    unsigned count = 1;
    int socket = -1;  // standard input, where it listens; -1: nothing to read
    // NAME=VALUE; empty: the environment of this process.
    std::vector<std::string> environment = {};
};

class Children {
  public:
    // Standard output and error of all go to the log.
    explicit Children(int log);
    // Ends them and what has outlived them, and waits for that.
    ~Children();
    Children(const Children &) = delete;
    Children &operator=(const Children &) = delete;

    // Starts a program's processes, and keeps them running.
    void Keep(Kept program);

    // Starts another process for each that has ended, after pauses that grow while a program ends
    // at once. Ends one that was stopped. Says on standard error what has gone wrong. To be
    // called once a second, and whenever a child has ended.
    void Look();

    // True while no program ends at once.
    bool AreWhole() const;

    // Holds back the signals that end this process or tell of a child. They are waited for, and a
    // child gets them as usual.
    static void HoldSignals();
    // Waits for such a signal, a second at most. True when this process shall end.
    static bool WaitForSignal();
    // True when a signal has come that ends this process.
    static bool IsAskedToEnd();

  private:
    using Clock = std::chrono::steady_clock;

    struct Process {
        pid_t pid;
        Clock::time_point start;
    };
    struct Program {
        Kept kept;
        std::vector<Process> running = {};
        std::chrono::milliseconds pause{};
        Clock::time_point nextStart{};
        std::string complaint = {};
    };

    void Reap();
    static void NoteEnd(Program &program, const Process &process, int status);
    void StartMissing(Program &program);
    pid_t Start(const Kept &program) const;
    // Signals the groups, and waits until they are empty. False if one is not.
    bool EndGroups(const std::vector<pid_t> &groups, int signal);

    int log_;
    std::vector<Program> programs_;
    // Those of all children. Encoders, and requests with a process of their own, may outlive a
    // child.
    std::vector<pid_t> groups_;
};

}  // namespace tonvale_cli
