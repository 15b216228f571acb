// How many encoders run at once on this machine.
#pragma once

namespace tonvale_entry {

// One of a bounded number of turns, for as long as the object lives, or the process: a turn is a
// lock on a file, which the kernel gives back whatever becomes of its holder.
class EncoderSlot {
  public:
    // Throws a Refusal when that cannot be told.
    EncoderSlot();
    ~EncoderSlot();
    EncoderSlot(const EncoderSlot &) = delete;
    EncoderSlot &operator=(const EncoderSlot &) = delete;

    // False when every turn is taken.
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

}  // namespace tonvale_entry
