// Files that are looked at again when more is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "varnindex/hash.h"
#include "varnindex/read/readers.h"

namespace varnindex {

// Of many files it holds hashes of their paths alone: the folders are walked again for them.
class PutOff {
  public:
    explicit PutOff(std::size_t mostWorks) : mostWorks_(mostWorks) {}

    void Add(Work work) {
        if (paths_.empty() && works_.size() < mostWorks_) {
            works_.push_back(std::move(work));
            return;
        }
        for (const Work &other : std::exchange(works_, {})) {
            paths_.insert(HashOf(other.path));
        }
        paths_.insert(HashOf(work.path));
    }

    // False when the files are to be asked for by Has, and not all in Works.
    bool HasWorks() const { return paths_.empty(); }
    std::vector<Work> &Works() { return works_; }
    bool Has(const std::string &path) const { return paths_.contains(HashOf(path)); }

  private:
    static std::int64_t HashOf(const std::string &path) { return Hasher().Add(path).Value(); }

    std::size_t mostWorks_;
    std::vector<Work> works_;
    std::unordered_set<std::int64_t> paths_;
};

}  // namespace varnindex
