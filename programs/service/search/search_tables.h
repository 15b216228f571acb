// The tables that searches read.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "service/lists/list.h"
#include "service/lists/tables.h"

namespace tonvale_service {

// Which songs a request's library and user let through: the rule of the track view, for the columns
// of the search table.
class SeenSongs {
  public:
    explicit SeenSongs(const ListRequest &request);

    bool Lets(char kind, uid_t owner) const;
    // The same as SQL, for songs `s`.
    std::string Sql() const;

  private:
    std::string_view kinds_;
    bool shared_, personal_;  // what nobody owns, and what the user does
    bool others_;             // what any user owns
    uid_t uid_;
};

// The condition for the songs `s` that a request's filters let through, "" without filters.
std::string FilteredSongs(const ListRequest &request);

// True for the songs `s` that a request's library, user and filters let through.
std::string ShownSongs(const ListRequest &request);

// The end of a statement; limit 0: all.
std::string Paged(int offset, int limit);

}  // namespace tonvale_service
