// Track objects: what both the command line and the web API tell of a song.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "service/base/page.h"
#include "service/lists/kept_list.h"
#include "service/lists/list.h"
#include "tonvale/webapi.h"

namespace tonvale_service {

// Which marks of the user (song_marks.h) track objects tell.
struct MarksWanted {
    bool favourite = false;
    bool plays = false;
};

// What writes the track objects of a user's answers.
struct TrackWriter : Tonvale::webapi::WebapiLibrary {
    TrackWriter(const WebapiLibrary &writer) : WebapiLibrary(writer) {}  // NOLINT: on purpose
    TrackWriter(const WebapiLibrary &writer, MarksWanted wanted)
        : WebapiLibrary(writer), marks(wanted) {}

    MarksWanted marks = {};
};

// The columns for track objects with all additions but those that cost a join (TrackColumns).
inline constexpr char kSongColumns[] =
    "id, userid, path, title, artist, album, album_artist, composer, genre, year, track, disc, "
    "duration, bitrate, frequency, channel, filesize, container, codec, comment, is_virtual";

// What track objects may hold beside the usual: song_tag, song_audio, song_rating, song_favourite,
// song_plays.
const std::vector<std::string> &AdditionNames();

// Switches a writer's additions on; gives those that it does not write itself.
MarksWanted Apply(const std::vector<std::string> &additions,
                  Tonvale::webapi::WebapiLibrary &writer);

// Adds what a user has put on their songs to track objects, in one statement. Throws a Failure.
void AddMarks(uid_t uid, const MarksWanted &wanted, Json::Value &tracks);

// The columns for a writer's track objects.
std::string TrackColumns(const Tonvale::webapi::WebapiLibrary &writer);

// Appends the track objects of a playlist's entries, as GetTrackJson does, but with addresses of
// other schemes than http and https as the playlist has them: the library takes them for files.
// `path` of such an entry is changed.
void AppendTracks(const Tonvale::webapi::WebapiLibrary &writer, PVLIBSZHASH *ratings,
                  PLAYLIST_REC *first, Json::Value &tracks);

// A page of track objects, "songs", from rows of TrackColumns or null. A few are held at a time.
class SongPage : public Page {
  public:
    SongPage(Tonvale::MediaHandle rows, const TrackWriter &writer, int offset, int64_t total);

    Json::Value Next() override;

    // Tells which version of the library the rows show. With favourites in the objects, their
    // version is added. With plays there is none: they count up without a version.
    void SetVersion(const Version &version);

    // For callers that read the rows themselves.
    MEDIA_DB_HANDLE *Rows() const { return rows_.get(); }

  private:
    Tonvale::MediaHandle rows_;
    TrackWriter writer_;
    std::string favourites_;  // their version
};

}  // namespace tonvale_service
