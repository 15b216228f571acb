// The API that music players on phones and desktops speak: OpenSubsonic, version 1.16.1, below
// /rest/.
#pragma once

#include "entry/login.h"

namespace tonvale_subsonic {

// True when the request in the environment is for this API.
bool IsAsked();

// Answers it. A refusal is an answer with a code, with the HTTP status 200. True when all of the
// answer went out. In a worker, throws what leaves the request to a handler (entry/worker.h).
bool Answer(tonvale_entry::Login login);

}  // namespace tonvale_subsonic
