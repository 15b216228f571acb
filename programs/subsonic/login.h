// Who a request is from. Keys alone count, in one of three ways: a name with a digest of the key, a
// name with the key, or the key alone.
#pragma once

#include "entry/request.h"

namespace tonvale_subsonic {

// Signs the request in. Throws a Fault for a wrong or missing login, and for a user who may not use
// the server. A worker leaves a wrong key to a handler (LeaveWorker of entry/worker.h).
void SignIn(tonvale_entry::Request &entry);

}  // namespace tonvale_subsonic
