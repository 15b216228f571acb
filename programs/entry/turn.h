// How many requests are at work at once, of one account and of all.
//
// A worker answers what is soon done. An account has all workers but one: a request beyond these
// goes on in a handler, which waits for its turn.
#pragma once

#include "request.h"

namespace tonvale_entry {

enum class Work {
    kShort,      // with the database, and soon done
    kElsewhere,  // waits for another machine
    kFile,       // a file, at its listener's pace
    kEncoder     // sound, at its listener's pace
};

// Takes a turn for a request, in place of one that this process has. A request that lasts, and one
// without a turn soon, leaves its worker (LeaveWorker). Throws a Refusal when too many of the
// account wait already, or when the turn has not come in time.
void TakeTurn(const Request &request, Work work);

// Gives it back before something long that does without the database: the pause before a refusal.
void GiveTurnBack();

}  // namespace tonvale_entry
