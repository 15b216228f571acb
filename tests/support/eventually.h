// Waiting for another process.
#pragma once

#include <chrono>
#include <thread>

namespace tonvale_test {

// How long a test waits before it fails: a busy machine takes its time.
constexpr std::chrono::seconds kPatience{90};

template <typename Condition>
bool Eventually(const Condition &condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

}  // namespace tonvale_test
