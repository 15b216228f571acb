// Queue files.
#pragma once

#include <json/value.h>

#include <deque>
#include <string>

#include "mpd.h"

namespace varnplayer {

// A song as the music player daemon is told of it.
struct QueuedSong {
    std::string uri;      // "" for what cannot be told in a line of its protocol
    bool isPart = false;  // of its file
    float start = 0;      // seconds
    float end = -1;       // below 0: the end of the file
};

// Adds the songs of queue files to the queue, some at a time: the music player daemon looks into
// each file, and ten thousand of them take longer than a client waits.
class QueueAdder {
  public:
    // Reads the songs of a file, which need not stay. Throws Refused for a file that is none or in
    // use, and for more songs than the queue may have.
    void Read(const std::string &path);

    // Adds songs for about a tenth of a second; when one of them fails they are passed over.
    void Step(const Mpd &mpd);

    bool IsDone() const { return songs_.empty(); }
    void Forget() { songs_.clear(); }

    // Since the adder last had nothing to do: how many were "added", could not be played and were
    // "skipped", and are still "waiting".
    Json::Value State() const;

  private:
    std::deque<QueuedSong> songs_;
    int added_ = 0;
    int skipped_ = 0;
};

// Writes the queue to a file. Throws Refused.
Json::Value WriteQueueFile(const Mpd &mpd, const std::string &path);

}  // namespace varnplayer
