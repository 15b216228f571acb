// Computes lists anew after the library has changed, before somebody asks for them.
#pragma once

#include <sys/types.h>

#include <chrono>
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

    // To be called every second or so. Once the library has stopped changing, starts a child that
    // computes the lists, one at a time.
    void Look();

  private:
    bool IsAtWork();
    void Start();

    pid_t child_ = -1;
    // Of a pipe, which the child holds open: Children may collect its status first.
    varn::UniqueFd end_;
    std::optional<std::int64_t> seen_;
    std::optional<std::int64_t> done_;
    std::chrono::steady_clock::time_point next_{};
};

}  // namespace tonvale_cli
