// Playlists.
#include "command.h"
#include "playlist_show.h"

namespace tonvale_cli {

void AddPlaylist(CLI::App &app, Action &action) {
    CLI::App *playlist = app.add_subcommand("playlist", "Look into playlists");
    playlist->require_subcommand(1);
    AddPlaylistShow(*playlist, action);
}

}  // namespace tonvale_cli
