// A 64-bit hash for telling contents apart. It is stored in the library, so it never changes; it
// does not stand up to somebody who wants two contents to look alike.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace varnindex {

class Hasher {
  public:
    // Texts and numbers are set apart from what follows them.
    Hasher &Add(std::string_view bytes) {
        Mix(bytes.size());
        for (; bytes.size() >= sizeof(std::uint64_t); bytes.remove_prefix(sizeof(std::uint64_t))) {
            Mix(Word(bytes.substr(0, sizeof(std::uint64_t))));
        }
        if (!bytes.empty()) {
            Mix(Word(bytes));
        }
        return *this;
    }

    Hasher &Add(std::int64_t number) {
        Mix(static_cast<std::uint64_t>(number));
        return *this;
    }

    // Signed, as the database keeps it.
    std::int64_t Value() const {
        std::uint64_t value = state_;
        value = (value ^ (value >> 33)) * 0xFF51AFD7ED558CCDU;
        value = (value ^ (value >> 33)) * 0xC4CEB9FE1A85EC53U;
        return static_cast<std::int64_t>(value ^ (value >> 33));
    }

  private:
    static std::uint64_t Word(std::string_view bytes) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), bytes.size());
        return word;
    }

    void Mix(std::uint64_t word) {
        state_ = std::rotl((state_ ^ (word * 0x9E3779B97F4A7C15U)) * 0xC2B2AE3D27D4EB4FU, 29);
    }

    std::uint64_t state_ = 0x27D4EB2F165667C5U;
};

}  // namespace varnindex
