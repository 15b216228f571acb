// Reads audio files on all cores: in come files with what the library knows of them, out come songs
// with their tracks, or the reason why there is none, in the order in which they were asked for.
#pragma once

#include <condition_variable>
#include <deque>
#include <thread>

#include "varnindex/compare/known.h"
#include "varnindex/observe/file_facts.h"
#include "varnindex/read/sheets.h"
#include "varnindex/read/tags.h"
#include "varnindex/song.h"

namespace varnindex {

// A file to read, with what the library knows of it.
struct Work : FileFacts {
    KnownRow known = {};  // id 0: none
};

struct ReadWork {
    Work work;
    ReadResult result;
    std::vector<VirtualSong> tracks;    // of a cue sheet
    std::vector<int> behindEnd = {};    // numbers of those for which the file is too short
    std::vector<std::string> warnings;  // for a person, of the folder's cue sheets
    bool isOwnSheetUnusable = false;    // the one in the song's tags
};

class Readers {
  public:
    Readers(unsigned threads, Pictures pictures);
    // What was not taken is given up.
    ~Readers();
    Readers(const Readers &) = delete;
    Readers &operator=(const Readers &) = delete;

    // The number of files that may wait is bounded: while IsFull, take one first.
    bool IsFull() const { return slots_.size() >= kMostSlots; }
    bool IsEmpty() const { return slots_.empty(); }
    void Add(Work work);

    // Waits for the file that was added first. Not on an empty object.
    ReadWork Take();

  private:
    static constexpr std::size_t kMostSlots = 1024;

    struct Slot {
        ReadWork read;
        bool done = false;
    };

    void Run();
    Slot *NextSlot(std::unique_lock<std::mutex> &lock);
    void Read(ReadWork &read, KeptCover &cover) const;

    Pictures pictures_;
    std::mutex guard_;  // of all that follows; a slot that is being read is its thread's alone
    std::condition_variable workCame_;
    std::condition_variable slotDone_;
    std::deque<Slot> slots_;  // a deque, whose elements stay where they are
    std::size_t begun_ = 0;   // slots at the front that a thread has taken
    std::size_t done_ = 0;    // songs and tracks of the slots that wait to be taken
    bool ended_ = false;
    std::vector<std::jthread> threads_;  // last: they end before what they use
};

}  // namespace varnindex
