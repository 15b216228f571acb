// The lists of the single songs that users share.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "database.h"
#include "records.h"

namespace varnindex {

// The lists are files of the system's own, one for each user with a link to single songs, which name
// songs by their paths and the tracks of cue sheets by their virtual names. What users keep in
// playlists of their own is left to them. One such object per scan.
class SharedLists {
  public:
    explicit SharedLists(Database &database) : database_(database) {}
    SharedLists(const SharedLists &) = delete;
    SharedLists &operator=(const SharedLists &) = delete;

    // Names songs that move, and their tracks, by their new paths. To be called before the rows'
    // transaction is committed: what a scan that is killed here has written is where the files are,
    // and the next one moves the rows. A song whose old path an entry has come to have in this scan
    // is another one. Returns what went wrong, for a person; throws DatabaseError.
    std::vector<std::string> Move(const std::vector<MovedSong> &songs);

  private:
    using Entries = std::unordered_map<std::string, std::string>;  // old to new

    static Entries EntriesOf(const std::vector<MovedSong> &songs);
    bool MoveIn(const std::string &list, const Entries &moves);
    static std::string Renamed(const std::string &list, std::string_view text, const Entries &moves,
                               std::multiset<std::string> &settled);

    Database &database_;
    std::map<std::string, std::multiset<std::string>> settled_;  // by list: what was renamed
};

}  // namespace varnindex
