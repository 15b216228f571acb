// Track objects: what both the command line and the web API tell of a song.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "list.h"
#include "page.h"
#include "tonvale/webapi.h"

namespace tonvale_service {

// What rows of songs are to hold for track objects with all that may be added to them but what
// costs a join, see TrackColumns.
inline constexpr char kSongColumns[] =
    "id, userid, path, title, artist, album, album_artist, composer, genre, year, track, disc, "
    "duration, bitrate, frequency, channel, filesize, container, codec, comment, is_virtual";

// What track objects may hold beside the usual: song_tag, song_audio, song_rating.
const std::vector<std::string> &AdditionNames();

// Switches a writer's additions on.
void Apply(const std::vector<std::string> &additions, Tonvale::webapi::WebapiLibrary &writer);

// The columns for a writer's track objects.
std::string TrackColumns(const Tonvale::webapi::WebapiLibrary &writer);

// Appends the track objects of a playlist's entries, as GetTrackJson does, but with addresses of
// other schemes than http and https as the playlist has them: the library takes them for files.
// `path` of such an entry is changed.
void AppendTracks(const Tonvale::webapi::WebapiLibrary &writer, PVLIBSZHASH *ratings,
                  PLAYLIST_REC *first, Json::Value &tracks);

// A page of track objects, "songs", from rows of TrackColumns. A few songs are held at a time.
class SongPage : public Page {
  public:
    SongPage(Tonvale::MediaHandle rows, const Tonvale::webapi::WebapiLibrary &writer, int offset,
             int64_t total);

    Json::Value Next() override;

    // For who reads the rows in another way.
    MEDIA_DB_HANDLE *Rows() const { return rows_.get(); }

  private:
    Tonvale::MediaHandle rows_;
    Tonvale::webapi::WebapiLibrary writer_;
};

}  // namespace tonvale_service
