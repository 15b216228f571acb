// Waiting for what another process does.
#pragma once

#include <chrono>
#include <thread>

namespace tonvale_test {

// Waits for a condition, bounded so that a failure ends the test.
template <typename Condition>
bool Eventually(const Condition &condition) {
    for (int tries = 0; tries < 1500; ++tries) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

}  // namespace tonvale_test
