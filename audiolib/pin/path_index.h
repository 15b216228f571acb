// What the library has now under the paths that pins keep.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "tonvale/library.h"

namespace Tonvale::pin {

// A table of the library, as a user sees it.
struct Place {
    std::string library;  // a library kind
    int table;            // of VARN_TABLE_TYPE
    auto operator<=>(const Place &) const = default;
};

struct Row {
    std::string id;
    std::string title;
};

enum class Found { kYes, kNo, kFailed };

// Looks paths up over one connection, those of a place with one statement: name all of them before
// the first is looked for.
class PathIndex {
  public:
    PathIndex(DBConnetWrapper &database, unsigned uid) : database_(database), uid_(uid) {}

    // Names a path that is going to be looked for.
    void Want(const Place &place, const std::string &path);

    // The row of a path, the first when there are several. kFailed when the path cannot be asked
    // for or the library does not answer, which is logged once for a place.
    Found Find(const Place &place, const std::string &path, Row &row);

  private:
    using Rows = std::unordered_map<std::string, Row>;

    // The paths of a place, as a list for a statement, and what was read of them.
    struct Section {
        std::string list = {};
        bool isRead = false;
        std::optional<Rows> rows = {};
    };

    std::optional<Rows> Read(const Place &place, const std::string &list);

    DBConnetWrapper &database_;
    unsigned uid_;
    std::map<Place, Section> sections_;
};

}  // namespace Tonvale::pin
