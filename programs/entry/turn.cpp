#include "turn.h"

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "refusal.h"
#include "service/slot.h"

namespace tonvale_entry {

namespace {

using std::chrono::steady_clock;
using tonvale_service::Slot;

struct Bounds {
    const char *kind;
    unsigned present;    // at work and in line, of an account or a visitor's address
    unsigned ofAccount;  // at work
    unsigned ofAll;
};
// A request has three connections to the database at the most, of 40.
constexpr Bounds kShortBounds{"request-", 32, 4, 12};
constexpr Bounds kElsewhereBounds{"elsewhere-", 32, 8, 32};

constexpr std::chrono::seconds kPatience(10);

// Taken in this order: who waits for one of all has one of the account's, and nobody else does.
struct Turn {
    Slot present, ofAccount, ofAll;
};
std::optional<Turn> held;

// Visitors of public pages are one account at work, but an address has no more than its places in
// their line. A few addresses share places, so that the files of turns stay few.
std::string Visitor(const Request &request) {
    constexpr std::size_t kGroups = 256;
    const char *address = request.IsLoggedIn() ? nullptr : std::getenv("REMOTE_ADDR");
    return address == nullptr
               ? ""
               : std::to_string(std::hash<std::string_view>{}(address) % kGroups) + "-";
}

Slot Taken(const std::string &kind, unsigned turns, std::chrono::milliseconds patience) {
    Slot slot(kind, turns, patience);
    if (!slot) {
        throw Refusal{slot.IsUnknown() ? Code::kFailed : Code::kBusy};
    }
    return slot;
}

}  // namespace

void TakeTurn(const Request &request, Work work) {
    GiveTurnBack();
    const Bounds &bounds = work == Work::kShort ? kShortBounds : kElsewhereBounds;
    const std::string all = bounds.kind;
    const std::string own =
        all + (request.IsLoggedIn() ? std::to_string(request.User().GetLoginUID()) : "public") +
        "-";
    const auto end = steady_clock::now() + kPatience;
    const auto left = [&] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
    };
    Slot present = Taken(own + Visitor(request) + "present-", bounds.present, {});
    Slot ofAccount = Taken(own, bounds.ofAccount, kPatience);
    Slot ofAll = Taken(all, bounds.ofAll, left());
    held.emplace(Turn{std::move(present), std::move(ofAccount), std::move(ofAll)});
}

void GiveTurnBack() {
    held.reset();
}

}  // namespace tonvale_entry
