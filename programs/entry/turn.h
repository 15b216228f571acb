// How many requests are at work at once, of one account and of all.
//
// A worker answers whatever is soon done. So that one account leaves a worker to the others, a
// request beyond all workers but one goes on in a process of its own, which waits for its turn.
#pragma once

#include "request.h"

namespace tonvale_entry {

enum class Work {
    kShort,      // with the database, and soon done
    kElsewhere,  // waits for another machine
    kFile,       // a file, at its listener's pace
    kEncoder     // sound, at its listener's pace
};

// Takes this process's turn for a request, in place of one that it has. In a worker it leaves the
// worker (LeaveWorker) for what lasts, and where there is no turn soon. Throws a Refusal when too
// many of the account wait already, or when its turn has not come in time.
void TakeTurn(const Request &request, Work work);

// Gives it back before something long that does without the database: the pause before a refusal.
void GiveTurnBack();

}  // namespace tonvale_entry
