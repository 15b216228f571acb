// Computes lists anew after the library has changed, before they are asked for.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "varn/descriptor.h"

namespace tonvale_cli {

class ListWarmer {
  public:
    ListWarmer() = default;
    ~ListWarmer();
    ListWarmer(const ListWarmer &) = delete;
    ListWarmer &operator=(const ListWarmer &) = delete;

    // To be called every second or so. Keeps one child, which waits until the library has changed
    // and stopped changing, and computes the lists. Does not ask the database itself, which may be
    // slow to answer.
    void Look();

  private:
    bool IsAtWork();
    void Start();

    pid_t child_ = -1;
    // Of a pipe, which the child holds open: Children may collect its status first.
    varn::UniqueFd end_;
    std::optional<std::int64_t> done_;  // the version of the library that the lists are of
};

}  // namespace tonvale_cli
