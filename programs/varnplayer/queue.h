// Queue files.
#pragma once

#include <json/value.h>

#include <string>

#include "mpd.h"

namespace varnplayer {

// Appends a queue file's songs to the queue. The answer counts what was added, and what could not
// be played and was passed over.
Json::Value AddQueueFile(const Mpd &mpd, const std::string &path);

// Writes the queue to a file.
Json::Value WriteQueueFile(const Mpd &mpd, const std::string &path);

}  // namespace varnplayer
