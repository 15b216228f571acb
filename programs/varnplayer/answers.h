// What the player has and does, as JSON.
#pragma once

#include <json/value.h>

#include "mpd.h"

namespace varnplayer {

// Ways of playing, as SetMode numbers them.
enum class Mode { kOnce = 0, kRepeat = 1, kRepeatOne = 2, kShuffle = 3 };

Mode ModeOf(const mpd_status *status);
void SetMode(const Mpd &mpd, Mode mode);

// State, volume, mode and the current song.
Json::Value InfoAnswer(const Mpd &mpd, const mpd_status *status);

// A page of the queue, or of the outputs. One of the queue has 500 songs at most, and fewer when
// they would take more than half a MiB.
Json::Value QueueAnswer(const Mpd &mpd, unsigned offset, unsigned limit);
Json::Value OutputsAnswer(const Mpd &mpd, unsigned offset, unsigned limit);

// One output, by its place in the list or its "udn". Null when there is none.
Json::Value OutputAnswer(const Mpd &mpd, unsigned index);
Json::Value OutputAnswer(const Mpd &mpd, const std::string &udn);

// The music player daemon's number of such an output.
unsigned OutputNumber(const Json::Value &output);

}  // namespace varnplayer
