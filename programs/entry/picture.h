// Pictures as answers, most of which clients may keep.
#pragma once

#include "service/covers/cover.h"

namespace tonvale_entry {

// Each sends a whole CGI answer: the picture; or its header alone, or 304 where the client's copy
// is still good (RFC 9110). True when all of it went out.

// A picture of the library, with validators.
bool SendPicture(const tonvale_service::Picture &picture, bool headerOnly);

// A picture from elsewhere, which may be another one the next time: it is not to be kept.
bool SendFetchedPicture(const tonvale_service::Picture &picture, bool headerOnly);

// Our own drawing, for what has no picture.
bool SendDefaultPicture(bool headerOnly);

}  // namespace tonvale_entry
