// Small copies of covers in any size, kept for the next time.
#pragma once

#include "service/covers/cover.h"

namespace tonvale_service {

// The sides that a copy may have, in pixels.
inline constexpr int kLeastSide = 64;
inline constexpr int kMostSide = 1024;

// The copy of an open picture that fits in a square of so many pixels a side; a smaller picture
// keeps its size. It is made where there is none, and kept in a folder of the package's account, in
// which the least used copies make room for new ones. Without a file when it cannot be made, which
// the log tells, or too many are being made. `beforeMaking` is called before one is made.
Picture OpenCopy(const Picture &picture, int side, void (*beforeMaking)());

// True where this copy could not be made within the last ten minutes: each try costs a process of
// the converter. A picture that has changed counts as a new one.
bool HasFailed(const Picture &picture, int side);
void NoteFailure(const Picture &picture, int side);

}  // namespace tonvale_service
