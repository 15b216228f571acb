// Writes what a scan finds: in come songs with the ids of their rows, and ids of rows that go. Out
// go rows in batches: each is one short transaction, so that readers of the library never wait long
// and an interrupted scan keeps what it has done.
#pragma once

#include "varnindex/database.h"
#include "varnindex/read/split.h"
#include "varnindex/song.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {

class Store {
  public:
    enum class Writes { kAll, kNone };

    // With kNone everything below does nothing. The database outlives it.
    Store(Database &database, Writes writes) : database_(database), writes_(writes) {}

    // All of these may write the batch out, and throw DatabaseError.

    // A new row (id 0), or one that keeps its id and the date of its arrival, whatever its path and
    // owner are. `tracks` are what a cue sheet makes of the song; those that it made before keep
    // their rows by their number. Without a list the song keeps the tracks that it has: they get
    // its path and owner, and that of their sheet where it is now, in the song or beside it.
    void Write(int id, Song song, std::optional<std::vector<VirtualSong>> tracks);
    void Remove(int id);                            // the song, its tracks, ratings and the like
    void Restamp(int id, std::int64_t sheetStamp);  // and nothing else of the row
    void Flush();                                   // writes what is left
    void RenewStatistics();                         // of the tables that a scan writes

  private:
    struct Track {
        VirtualSong virtualSong;
        int id = 0;  // 0: a new row
    };
    struct Item {
        int id = 0;  // 0: a new row
        Song song;
        std::vector<Track> tracks;
        bool keepsTracks = false;
    };
    struct Changes {
        std::vector<Item> items;
        std::vector<int> removed;
        std::string stamps;  // rows of a VALUES list
        std::size_t rows = 0;
    };
    // What a batch gives to the tables, as COPY reads it.
    struct Batch {
        std::string added;    // rows of track
        std::string changed;  // the same of rows that are there
        std::string offsets;  // rows of virtual_info_track
        std::string stars;    // rows of rating_track, of new songs
        SideRows sides;
    };

    void CountRows(std::size_t count);
    void RemoveRows(const std::vector<int> &rows);
    void MatchTracks();
    std::vector<int> NewIds(std::size_t count);
    Batch MakeBatch();
    void WriteSongs();
    void WriteStamps();

    Database &database_;
    Writes writes_;
    Changes changes_;
    bool hasStaging_ = false;
};

}  // namespace varnindex
