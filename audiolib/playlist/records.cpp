// Lists of records: counting and turning round.
#include "support/chain.h"
#include "tonvale/playlists.h"

int VARNPlaylistRecCount(const PLAYLIST_REC *list) noexcept {
    return Tonvale::support::ChainLength(list);
}

PLAYLIST_REC *PlaylistRecReverse(PLAYLIST_REC *list) noexcept {
    return Tonvale::support::ReversedChain(list);
}
