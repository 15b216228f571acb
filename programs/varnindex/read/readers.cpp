#include "varnindex/read/readers.h"

#include <exception>

#include "varnindex/read/names.h"
#include "varnindex/read/pictures.h"
#include "varnindex/settle/stars.h"

namespace varnindex {
namespace {

// Songs and tracks that wait to be taken. A cue sheet may have a thousand tracks with long texts.
constexpr std::size_t kMostDone = 1000;

// By a sheet beside the song, or else the one in its tags.
void AddTracks(ReadWork &read) {
    const Song &song = *read.result.song;
    ReadResult &result = read.result;
    SplitSongs split;
    if (read.work.sheets) {
        split = read.work.sheets->Split(song);
        read.warnings = read.work.sheets->TakeProblems();
    }
    if (split.songs.empty() && split.behindEnd.empty() && !result.embeddedCue.empty()) {
        std::string problem;
        split = SplitByEmbedded(song, result.embeddedCue, problem);
        read.isOwnSheetUnusable = !problem.empty();
        result.warning = read.isOwnSheetUnusable ? problem : result.warning;
    }
    if (!split.behindEnd.empty()) {
        result.warning = "it ends before track " + std::to_string(split.behindEnd.front()) +
                         " of its cue sheet begins";
    }
    result.embeddedCue.clear();
    read.tracks = std::move(split.songs);
    read.behindEnd = std::move(split.behindEnd);
}

// Of a song and the tracks that may get a new row.
void AddStars(ReadWork &read) {
    Song &song = *read.result.song;
    if (read.work.known.id == 0) {
        song.stars = ReadStars(song.path);
    }
    for (VirtualSong &track : read.tracks) {
        track.song.stars = ReadStars(TrackRecordPath(song.path, track.song.track));
    }
}

}  // namespace

Readers::Readers(unsigned threads, Pictures pictures) : pictures_(pictures) {
    for (unsigned i = 0; i < std::max(threads, 1U); ++i) {
        threads_.emplace_back([this] { Run(); });
    }
}

Readers::~Readers() {
    {
        const std::lock_guard lock(guard_);
        ended_ = true;
    }
    workCame_.notify_all();
}

void Readers::Add(Work work) {
    {
        const std::lock_guard lock(guard_);
        slots_.emplace_back();
        slots_.back().read.work = std::move(work);
    }
    workCame_.notify_one();
}

ReadWork Readers::Take() {
    std::unique_lock lock(guard_);
    slotDone_.wait(lock, [this] { return slots_.front().done; });
    ReadWork read = std::move(slots_.front().read);
    const bool wasFull = done_ >= kMostDone;
    done_ -= 1 + read.tracks.size();
    slots_.pop_front();
    --begun_;
    lock.unlock();
    if (wasFull) {
        workCame_.notify_all();  // they waited for memory, or one whose slot is the first now
    }
    return read;
}

void Readers::Run() {
    KeptCover cover;
    std::unique_lock lock(guard_);
    while (Slot *const slot = NextSlot(lock)) {
        lock.unlock();
        Read(slot->read, cover);
        lock.lock();
        done_ += 1 + slot->read.tracks.size();
        slot->done = true;
        if (slot == &slots_.front()) {
            slotDone_.notify_one();
        }
    }
}

// Waits for a slot to read; null at the end. The slot that is taken next is read even when memory
// is short: nothing else frees any.
Readers::Slot *Readers::NextSlot(std::unique_lock<std::mutex> &lock) {
    workCame_.wait(lock, [this] {
        return ended_ || (begun_ < slots_.size() && (done_ < kMostDone || begun_ == 0));
    });
    return ended_ ? nullptr : &slots_[begun_++];
}

void Readers::Read(ReadWork &read, KeptCover &cover) const {
    try {
        const Work &work = read.work;
        if (cover.owner != work.userid) {
            cover = {work.userid, {}, Descriptor()};
        }
        read.result = ReadSong(work, pictures_, &cover);
        if (!read.result.song) {
            return;
        }
        if (work.sheets) {
            read.result.song->sheetStamp = work.sheets->Stamp();
        }
        AddTracks(read);
        if (work.hasAttributes) {
            AddStars(read);
        }
    } catch (const std::exception &error) {  // memory, at the most
        read.tracks.clear();
        read.result.song.reset();
        read.result.problem = std::string("cannot be read: ") + error.what();
    }
}

}  // namespace varnindex
