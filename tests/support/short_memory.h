// Memory that runs short, for tests that link tests/support/short_memory.cpp.
#pragma once

#include <cstddef>

namespace tonvale_test {

// For the length of a scope operator new has no block of `size` bytes or more, in the library too.
class ShortMemory {
  public:
    explicit ShortMemory(std::size_t size);
    ~ShortMemory();
    ShortMemory(const ShortMemory &) = delete;
    ShortMemory &operator=(const ShortMemory &) = delete;
};

}  // namespace tonvale_test
