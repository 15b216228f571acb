// A page of a playlist's tracks.
#pragma once

#include "command.h"

namespace tonvale_cli {

// Adds "show" to the verb "playlist".
void AddPlaylistShow(CLI::App &playlist, Action &action);

}  // namespace tonvale_cli
