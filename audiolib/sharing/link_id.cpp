#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string_view>

#include "sharing/sharing.h"
#include "support/boundary.h"
#include "tonvale/sharing.h"

namespace {

constexpr std::string_view kAlphabet =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr double kLargestRandom = 2147483647.0;
constexpr unsigned kSecondsBetweenAttempts = 1000;
constexpr int kRepeats = 5;

// The last character of the alphabet comes only for the largest number that rand() gives.
std::string NewId() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::string id;
    while (id.size() < Tonvale::SharingManager::SHARING_ID_SIZE) {
        const double share = std::rand() / kLargestRandom;
        id += kAlphabet[static_cast<std::size_t>(share * (kAlphabet.size() - 1))];
    }
    return id;
}

}  // namespace

std::string Tonvale::SharingManager::GetSharingHashString() noexcept {
    return support::Guarded(sharing::kSource, std::string(), [&] {
        std::string id = NewId();
        for (int repeats = 0; !CheckSharingIdExist(id) && repeats < kRepeats; ++repeats) {
            // An identifier is made from the second of the time: a later second gives another.
            sleep(kSecondsBetweenAttempts);
            id = NewId();
        }
        return id;
    });
}
