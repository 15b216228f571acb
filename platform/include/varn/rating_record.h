// The record of a song's ratings, which outlives the database: a key-value file in the song's
// extended-attribute folder, with the user's id as key and the stars as value.
#pragma once

#include <sys/types.h>

#include "varn/export.h"

namespace varn {

inline constexpr char kRatingRecord[] = "VARNAUDIO_SONG_RATING";

enum class RatingKept { kYes, kNoFolderPath, kNoFolder, kNotWritten };

// Keeps a user's stars for a song, which need not exist; 0 removes the line, and the record with
// the last one. Writes with the rights of the process, through the folder's descriptor, so that a
// link leads it nowhere else. Waits `milliseconds` for another writer. errno tells why it failed.
VARN_EXPORT RatingKept KeepRating(const char *song, uid_t uid, unsigned stars,
                                  int milliseconds) noexcept;

}  // namespace varn
