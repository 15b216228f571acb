// Queue files.
#pragma once

#include <json/value.h>

#include <chrono>
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
    // Of a stream, which may have no tags of its own: what its record tells, "" for nothing.
    std::string title = {}, artist = {}, album = {};
};

// Adds the songs of queue files to the queue, some at a time: the music player daemon looks into
// each file, and ten thousand of them take longer than a client waits.
class QueueAdder {
  public:
    // Reads the songs of a file, which need not stay. Throws Refused for a file that is none or in
    // use, and for more songs than the queue may have.
    void Read(const std::string &path);

    // Adds songs for about a tenth of a second; those that cannot be played are passed over. False
    // when the music player daemon failed: the song that it failed at is passed over, too, and the
    // next is for another connection, at NextTry(). After some failures in a row the songs that
    // wait are given up.
    bool Step(const Mpd &mpd);

    bool IsDone() const { return songs_.empty(); }
    void Forget() { songs_.clear(); }
    std::chrono::steady_clock::time_point NextTry() const { return nextTry_; }

    // Since the adder last had nothing to do: how many were "added", could not be played and were
    // "skipped", were "given_up", and are still "waiting".
    Json::Value State() const;
    int GivenUp() const { return givenUp_; }

  private:
    void Fail(const char *why);

    std::deque<QueuedSong> songs_;
    std::chrono::steady_clock::time_point nextTry_;
    int added_ = 0;
    int skipped_ = 0;
    int givenUp_ = 0;
    int failures_ = 0;  // in a row
};

// Writes the queue to a file. Throws Refused.
Json::Value WriteQueueFile(const Mpd &mpd, const std::string &path);

}  // namespace varnplayer
