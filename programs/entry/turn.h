// How many requests are at work at once, of one account and of all. The others wait in a line, but
// those for an encoder.
#pragma once

#include "request.h"

namespace tonvale_entry {

enum class Work {
    kShort,      // with the database, and soon done
    kElsewhere,  // waits for another machine
    kEncoder     // sound, at its listener's pace
};

// Takes this process's turn for a request, in place of one that it has. Throws a Refusal when too
// many of the account wait already, or when its turn has not come in time.
void TakeTurn(const Request &request, Work work);

// Gives it back before something long that does without the database: the pause before a refusal.
void GiveTurnBack();

}  // namespace tonvale_entry
