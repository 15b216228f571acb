// Brings the library in step with the folders: one pass over the walk and the known rows, both in
// the order of their paths.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "database.h"
#include "known.h"
#include "reporter.h"
#include "store.h"
#include "walk.h"

namespace varnindex {

struct Counts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t removed = 0;
    std::size_t unchanged = 0;
    std::size_t failed = 0;  // damaged files, and names that the library cannot hold
};

class Scan {
  public:
    // `folders` as OrderedFolders gives them.
    Scan(Database &database, std::vector<std::string> folders, Scope scope, Reporter &reporter);

    // Throws DatabaseError; what was written before stays.
    void Run();

    const Counts &Result() const { return counts_; }

    // True when a folder could not be looked at, and its songs were kept as they are.
    bool HeldBack() const { return heldBack_; }

  private:
    void RemoveKnownBefore(const std::string &path);
    void HandleFile(const Found &found);
    void HandleGap(const Found &found);
    void RemoveFront();

    std::vector<std::string> folders_;
    Reporter &reporter_;
    KnownRows known_;
    Store store_;
    Counts counts_;
    bool heldBack_ = false;
};

}  // namespace varnindex
