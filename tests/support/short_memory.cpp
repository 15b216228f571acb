#include "support/short_memory.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

std::size_t refused = std::numeric_limits<std::size_t>::max();

}  // namespace

// In place of those of the C++ library, for the libraries of this process too.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return size < refused ? std::malloc(size != 0 ? size : 1) : nullptr;
}

void *operator new(std::size_t size) {
    void *const block = operator new(size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void *block) noexcept {
    std::free(block);
}

void operator delete(void *block, std::size_t) noexcept {
    std::free(block);
}

void operator delete(void *block, const std::nothrow_t &) noexcept {
    std::free(block);
}

namespace tonvale_test {

ShortMemory::ShortMemory(std::size_t size) {
    refused = size;
}

ShortMemory::~ShortMemory() {
    refused = std::numeric_limits<std::size_t>::max();
}

}  // namespace tonvale_test
