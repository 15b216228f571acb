// Ratings that are kept with the songs' files.
#pragma once

#include <sys/types.h>

namespace Tonvale::misc {

// VARNSetSongRatingToEA with so many milliseconds of waiting, 0 for none.
int SetSongRating(const char *path, uid_t uid, unsigned star, int milliseconds) noexcept;

}  // namespace Tonvale::misc
