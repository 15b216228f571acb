// How many pictures are made smaller at once on this machine.
#pragma once

namespace tonvale_answers {

// One of as many turns as there are processors, for as long as the object lives, or the process: a
// turn is a lock on a file, which the kernel gives back whatever becomes of its holder.
class ScalingSlot {
  public:
    ScalingSlot();
    ~ScalingSlot();
    ScalingSlot(const ScalingSlot &) = delete;
    ScalingSlot &operator=(const ScalingSlot &) = delete;

    // False when every turn is taken.
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

}  // namespace tonvale_answers
