// Child processes and the credentials of this one.
//
// Children are started from argument vectors, never through a shell. They get the default action of
// every signal, an empty signal mask, and no descriptor but the standard three, of which standard
// input is /dev/null unless it is the other end of a stream. They run with the effective user of
// the moment as their real, effective and saved user where the process may set that. Every call
// here that waits reaps the child.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>

#include "varn/export.h"

extern "C" {

// Runs a program and waits. The arguments after `path` are the program's operands, ended by a null
// pointer (none at all: VLIBCExec(path, nullptr, nullptr)); argv[0] is `path`. Returns the exit
// status 0-255, 128+n when signal n ended the program, -1 when it could not be run (errno tells
// why).
VARN_EXPORT int VLIBCExec(const char *path, const char *arg1, ...) __attribute__((sentinel));

// Runs a program with the argument vector `argv` (argv[0] included, ended by a null pointer). With
// `wait` 1 or below 0 the result is that of VLIBCExec. With 0 it is 0 once the program runs, in a
// session of its own, with all three descriptors at /dev/null and nothing to reap; or -1.
//
// A larger `wait` is for a program that may never end: after so many seconds it is killed, and the
// result is 128+9. Its standard output and error are /dev/null: this process's own may be an answer
// that is under way. It runs in a process group of its own, and what it has started there is killed
// with it. Should this process end first, the program itself is killed. On a kernel before 5.3 it
// is waited for without an end.
VARN_EXPORT int VLIBCExecv(const char *path, char *const argv[], int wait);

// VLIBCExecv without `wait`, with the three descriptors of this process.
VARN_EXPORT int VLIBCExecvAside(const char *path, char *const argv[]);

// Starts a program with its standard output ("r") or standard input ("w") at the other end of the
// returned stream. Null, with errno set, when it cannot be run. Ended with VLIBCPclose; a program
// whose parent ends without that is killed.
VARN_EXPORT FILE *VLIBCPopenv(const char *path, const char *mode, char *const argv[]);

// Closes the stream, then waits for the program. A program whose output was not read to its end is
// killed (SIGKILL): it may be asleep, and would not notice that its reader has left. Returns the
// wait status as waitpid(2) gives it, 0 exactly when the program exited with 0; -1 for a stream
// that VLIBCPopenv did not return. When the status counts, read until the stream reports its end.
VARN_EXPORT int VLIBCPclose(FILE *stream);

// Quotes a text so that a shell (POSIX, 2.2.2) reads it as one word. 0, or -1 (a null argument, or,
// with `out` as "", a text that does not fit with its quotes). It is for texts that are shown, or
// that others hand to a shell: nothing here starts one.
VARN_EXPORT int VLIBCEncShParam(const char *in, char *out, size_t outSize);

// Switches to the named account: its user id, group id and supplementary groups. With `effective`
// only the effective ids change and any later switch, to another account or back to root, is still
// possible; without it real, effective and saved ids change for good.
// Returns 0, or -1 (unknown account, not permitted) with the ids as they were.
// A process without root among its real, effective and saved user ids runs everything as its one
// account: the call then succeeds and changes nothing.
VARN_EXPORT int ResetCredentialsByName(const char *user, bool effective = true);

// Switches only the effective user and group id, -1 meaning "as it is". 0, or -1 with errno set and
// the ids as they were. Succeeds without doing anything where the process has no rights to switch.
VARN_EXPORT int VLIBSetEffective(uid_t uid, gid_t gid);

// The user id of an account, or (uid_t)-1 when there is none.
VARN_EXPORT uid_t GetUserIdFromName(const char *user);

}  // extern "C"
