// A process that answers one request after the other.
#pragma once

namespace tonvale_entry {

// True for a socket that listens.
bool IsListening(int fd);

// Takes requests (SCGI) from the listening socket at standard input, one after the other, and has
// each answered by `answer` as if this were a handler: variables in the environment, the body at
// standard input, the connection at standard output. Ends at SIGTERM, with its parent, after a
// number of requests, or when a request has left something behind. Returns the exit status.
int RunWorker(void (*answer)());

// Thrown where a worker leaves a request to a handler.
struct LeftToOther {};

// In a worker, has a handler, a process of its own, answer the request from its beginning; returns
// in any other process. For requests that may last, or wait. Nothing of the answer may have been
// written.
void LeaveWorker();

// Ends this process as soon as its client leaves, where it would notice only with the next write.
// Not for a worker.
void EndWithClient();

// True in a worker.
bool IsWorker();

// True for a request that the server gave to a worker (variable SCGI), there and in a handler.
bool IsOfServer();

}  // namespace tonvale_entry
