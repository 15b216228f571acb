// Writes what a scan finds, in batches: each is one short transaction, so that readers of the
// library never wait long and an interrupted scan keeps what it has done.
#pragma once

#include <cstddef>
#include <vector>

#include "database.h"
#include "song.h"

namespace varnindex {

class Store {
  public:
    explicit Store(Database &database);

    // All of these may write the batch out, and throw DatabaseError.
    void Add(Song song);             // a new row
    void Change(int id, Song song);  // keeps the row's id and the date of its arrival
    void Remove(int id);             // the song and its rating, replay gain and the like
    void Flush();                    // writes what is left
    void RenewStatistics();          // of the tables that a scan writes

  private:
    struct Item {
        int id;  // 0: a new row
        Song song;
    };

    void Keep(Item item);
    void FlushIfFull();
    std::vector<int> NewIds();
    void WriteSongs();
    void RemoveRows();

    Database &database_;
    std::vector<Item> items_;
    std::vector<int> removed_;
    std::size_t bytes_ = 0;
};

}  // namespace varnindex
