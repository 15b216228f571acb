// Rows without a file, rows whose file may be another one now, and the files that they may have
// become.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/song.h"

namespace varnindex {

// What there is no trace of elsewhere of a folder that is there with nothing in it.
struct EmptiedFolder {
    std::size_t songs = 0;
    std::size_t lists = 0;   // playlists and cue sheets
    std::size_t sheets = 0;  // the cue sheets of these
    bool isBack = false;     // something is in it again
};

// A file that was moved has the owner, size and audio of a row whose own file is gone. Of several such
// rows it gets the one with its name, otherwise the first by path that no other new file has the
// name of. A file that was renamed over a known name has its row elsewhere: the row of its path
// stays with the path only where it belongs nowhere else. Holds some numbers per row, never paths.
class GoneRows {
  public:
    // `emptied` is a number of the caller's for a folder that is there with nothing in it. Its disk
    // may be missing, so its rows stay unless their files are found elsewhere.
    void Add(const KnownRow &row, std::optional<std::size_t> emptied);
    void AddNew(const std::string &path, std::int64_t size, unsigned userid);
    // A row whose file has changed, and what its size is now.
    void AddChanged(const KnownRow &row, std::int64_t size);

    // Reads the fingerprints; behind all of the above, before all of the below. Throws
    // DatabaseError.
    void Prepare(Database &database);

    // Somebody has taken the row.
    void Forget(int id) { rows_.erase(id); }

    // Nobody can tell what is in the row's file: the row stays unless another file turns out to be
    // what it was.
    void AddUnreadable(const KnownRow &row);  // before Prepare
    void IsUnreadable(int id);

    // The file at the row's path was stored with another row.
    void HasLostItsPath(int id);

    // Asks for each row that is to be removed whether it stays for now. The question gets id, path,
    // size and owner, and whether no other song has the path now. Throws DatabaseError.
    using Question = std::function<bool(const KnownRow &row, bool hasItsPath)>;
    void Keep(Database &database, const Question &stays);

    // The row's path is there. True for a row that was gone, and is not any more; one whose file has
    // changed waits for what is in it.
    bool ThereAgain(int id);

    // True when a row stays with its path, where `song` was read: the audio is the same, or there
    // is no other row for the song and no other file for the row. Otherwise the song may claim
    // another row when all files have been read, and others this one.
    bool StaysWith(int id, const Song &song);

    // Takes back a row that nobody has claimed; false when somebody has.
    bool TakeBack(int id) { return rows_.erase(id) > 0; }

    struct Claim {
        int id = 0;            // 0: none
        bool isLater = false;  // ask again when all other files have been asked for
    };
    // Gives a row away.
    Claim ClaimFor(const Song &song, bool isLast);

    // The rows that are to be removed, by id.
    std::vector<int> Left() const;

    // The songs of each of `count` emptied folders that nobody has claimed.
    std::vector<EmptiedFolder> LeftOfEmptied(std::size_t count) const;

  private:
    // A hash of fingerprint, size and owner, whether a new file that is not read yet has the row's
    // name and may be what became of it, and the place in the order of Add.
    using Place = std::tuple<std::int64_t, bool, std::size_t>;
    using Places = std::map<Place, int>;
    enum class State {
        kGone,
        kChanged,     // its file is not read yet
        kReplaced,    // its file is another one, which is not stored yet
        kUnreadable,  // nobody knows what its file is
    };
    struct Row {
        std::int64_t nameHash;
        unsigned userid;
        std::size_t order;
        std::optional<std::size_t> emptied;
        State state = State::kGone;
        bool hasItsPath = true;
        std::optional<std::int64_t> fingerprint = {};  // by Prepare
        std::int64_t size = 0;                         // the same
    };

    bool IsWantedByOthers(const Row &row, std::int64_t ownSize) const;
    bool HasRowFor(const Song &song) const;
    void Index(int id, std::int64_t fingerprint, std::int64_t size);
    std::optional<Claim> ClaimByName(const Song &song, bool isLast);
    Places::iterator First(std::int64_t audio, bool isReserved, bool isLast);
    Claim Take(Places::iterator place);

    std::unordered_map<int, Row> rows_;
    std::set<std::size_t> back_;          // emptied folders
    std::vector<std::int64_t> newNames_;  // hashes of size, owner and name, sorted by Prepare
    std::vector<std::int64_t> sizes_;     // of new and changed files, sorted by Prepare
    Places byPlace_;                      // ids
    std::multimap<std::int64_t, Place> byName_;  // by hash of fingerprint, size, owner and name
};

}  // namespace varnindex
