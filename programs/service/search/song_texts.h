// The texts of all songs, for searches. They are read from the database once for each state of the
// library and kept beside the lists (kept_list.h): a search in memory is ten times as fast as one
// in the database.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/lists/kept_list.h"

namespace tonvale_service {

// A song's row in the search table, as 014_search_text.sql of the schema explains it.
struct SongText {
    int track = 0;
    uid_t owner = 0;
    char kind = 0;
    std::string_view form = {};
    std::string_view words = {};  // the form itself where that has no marks
};

// In the order of titles, and by row id where these are equal.
class SongTexts {
  public:
    // The texts as they are now. Those of a large library may be some seconds old while it is
    // scanned: at most a tenth of the time goes into reading them. Throws a Failure.
    static SongTexts Now();

    std::size_t Count() const { return kept_ ? kept_->Count() : read_.size(); }
    // The first song from the one at `first` on that may have this text in its form or words;
    // Count() when there is none. Most of the others are passed over.
    std::size_t Next(std::string_view text, std::size_t first) const;
    // Good as long as this object.
    SongText operator[](std::size_t place) const;

  private:
    std::optional<KeptList> kept_;
    std::vector<std::string> read_;  // where they are not kept
};

}  // namespace tonvale_service
