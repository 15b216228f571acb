// Becoming a foreign program with few rights.
#pragma once

#include <sys/resource.h>

namespace confine {

// What the program may use; what this process was allowed already bounds it further.
struct Limits {
    rlim_t memory;         // bytes of address space
    rlim_t processorTime;  // seconds, of all its threads together
    rlim_t fileSize;       // bytes of a file that it writes; a pipe has no bound
    rlim_t files;          // open ones
};

// The exit status of a program that could not be run.
inline constexpr int kNotRun = 127;

// Drops root's rights for good (varn::DropRights) before this process becomes a program, which may
// read `file`, or null, also where only root could. False, with the reason on standard error, when
// the program must not be run.
bool DropRightsToRun(const char *program, const char *file);

// Replaces this process, which has dropped its rights, with the program. Of the environment the
// program gets what it needs to run, and nothing of a request. Returns when that fails, with the
// exit status for main; the reason stands on standard error.
int Become(const char *program, char *const argv[], const Limits &limits);

}  // namespace confine
