// Starting programs: the one place that forks.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "linux/credentials.h"
#include "varn/descriptor.h"

namespace varn {

// What a standard descriptor of a child can be, besides a descriptor number.
inline constexpr int kInherit = -1;  // this process's own (/dev/null where that one is closed)
inline constexpr int kDevNull = -2;

struct SpawnOptions {
    std::string path;               // the program; no search along PATH
    std::vector<std::string> argv;  // argv[0] included; empty: just the path

    // Whom the child runs as, for good. Without it: the effective user and group of this process,
    // with its supplementary groups.
    std::optional<Identity> identity;

    // "NAME=value" entries that are added to this process's environment or replace theirs there.
    std::vector<std::string> environment;

    std::string workingDirectory;  // entered as the child's user; "": this process's own

    int stdinFd = kDevNull;  // a child must not read this process's input by accident
    int stdoutFd = kInherit;
    int stderrFd = kInherit;

    bool endsWithParent = false;  // killed when the thread that started it ends first

    bool ownGroup = false;  // in a process group of its own, with all that it starts

    bool detached = false;  // in a session of its own and not a child of this process
};

// A pipe whose ends no other program inherits. False with errno set.
bool MakePipe(UniqueFd &readEnd, UniqueFd &writeEnd);

// Starts a program. It gets the default action of every signal, an empty signal mask and no
// descriptor but the standard three. Returns its process id for WaitFor, 0 for a detached program,
// or -1 with errno set when it could not be run, whichever step failed.
//
// A process without rights to switch runs every child as its one account, whatever `identity` says.
pid_t Spawn(const SpawnOptions &options);

// Waits for a child and reaps it. Returns its wait status, or -1 with errno set.
int WaitFor(pid_t pid);

// A wait status as an exit status: 0-255, 128+n after signal n; -1 stays -1.
int ExitStatusOf(int waitStatus);

struct Captured {
    int status = -1;     // as ExitStatusOf; -1 with errno set when the program could not be run
    std::string output;  // standard output and error in the order written, the first 1 MiB
};

// Runs a program, which must not ask for `detached` or name descriptors for its output, and waits
// until it ends. A program that it leaves behind with the output still open is not waited for.
Captured RunCaptured(SpawnOptions options);

}  // namespace varn
