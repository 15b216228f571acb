// How many programs of one kind run at once on this machine.
#pragma once

#include <chrono>
#include <string>

#include "varn/descriptor.h"

namespace tonvale_service {

// One of a number of turns, for as long as the object lives, or the process: a turn is a lock on a
// file, which the kernel gives back even if its holder is killed.
class Slot {
  public:
    // `kind` begins the names of the files. Waits in a line for a turn, no longer than `patience`.
    // What went wrong is logged.
    Slot(const std::string &kind, unsigned turns, std::chrono::milliseconds patience = {});

    // False when every turn is taken, or when that cannot be told.
    explicit operator bool() const { return static_cast<bool>(file_); }
    // True when it cannot be told whether a turn is left.
    bool IsUnknown() const { return isUnknown_; }

  private:
    // Opens a file of the kind; notes when that fails.
    varn::UniqueFd Open(const std::string &path);
    // Takes a turn that is left.
    void Take(const std::string &prefix, unsigned turns);

    varn::UniqueFd file_;
    bool isUnknown_ = false;
};

// For making a picture smaller: as many turns as processors. Waits a second for one.
Slot ScalingSlot();

}  // namespace tonvale_service
