// What listeners are told: the library's number, scans, the player.
#pragma once

#include <optional>
#include <string>

#include "listeners.h"
#include "player_watch.h"

namespace tonvale_events {

class News {
  public:
    explicit News(Listeners &listeners) : listeners_(listeners) {}

    // Tells a new listener how everything is. A listener that has just asked for its lists learns
    // by the number whether they are still right.
    void Greet(Listener &listener);

    // To be called once a second while somebody listens: finds out what is new, and tells it.
    void Look();
    // To be called when nobody listens any more: what is known will be old.
    void Forget();

    // A pipe to poll for reading, or -1; and what to do when there is something.
    int PlayerPipe() const { return player_.Pipe(); }
    void ReadPlayer();

  private:
    void LookAtLibrary();
    void LookAtScan();

    Listeners &listeners_;
    PlayerWatch player_;
    // The events that were last sent; "" for none yet.
    std::string library_;
    std::string scan_;
    std::string scanInShort_;
    std::string playerState_;
    Clock::time_point nextLibrary_{};
    Clock::time_point nextCheck_{};
};

}  // namespace tonvale_events
