// Playlists and their entries on the standard output.
#pragma once

#include "service/playlists/playlists.h"

namespace tonvale_cli {

// Prints a table of a page of playlists.
void PrintTable(tonvale_service::Page &page);

// The same of a playlist's entries, whose objects have their tags and audio properties.
void PrintTable(tonvale_service::PlaylistTracks &page);

}  // namespace tonvale_cli
