#include "turn.h"

#include <arpa/inet.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "parameters.h"
#include "refusal.h"
#include "service/slot.h"
#include "varn/packageconf.h"

namespace tonvale_entry {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using tonvale_service::Slot;

struct Bounds {
    const char *kind;
    unsigned present;    // at work and in line, of an account or a visitor's network
    unsigned ofNetwork;  // at work, of the turns of all visitors
    unsigned ofAccount;  // at work
    unsigned ofAll;
    std::chrono::seconds patience;
};

// As configured, or two for each processor and at least four: an encoder is many times faster than
// its listener, and waits most of the time.
unsigned Encoders() {
    constexpr long long kMost = 1000;
    char text[16] = "";
    VARNAudioConfGet("max_encoders", text, sizeof text);
    const int usual = std::max(4, 2 * static_cast<int>(std::thread::hardware_concurrency()));
    return static_cast<unsigned>(ParseNumber(text, 1, kMost).value_or(usual));
}

Bounds BoundsOf(Work work) {
    switch (work) {
        case Work::kShort:
            // A request has three connections to the database at the most, of 40.
            return {"request-", 32, 2, 4, 12, 10s};
        case Work::kElsewhere:
            return {"elsewhere-", 32, 2, 8, 32, 10s};
        case Work::kEncoder:
            break;
    }
    const unsigned all = Encoders();
    const unsigned half = std::max(1U, all / 2);
    return {"encoder-", half, std::max(1U, half / 2), half, all, 0s};
}

std::vector<Slot> held;

// What a visitor of public pages is counted by: the IPv4 address, or the first 64 bits of an IPv6
// address, because one client has all addresses below them; an account of this machine has all of
// loopback. A few networks share a number, so that the files of turns stay few.
std::string VisitorsNetwork() {
    constexpr std::size_t kNumbers = 256;
    const char *const told = std::getenv("REMOTE_ADDR");
    std::string_view network = told != nullptr ? told : "";
    in6_addr address{};
    if (network.starts_with("127.") || network.starts_with("::ffff:127.") || network == "::1") {
        network = "127";
    } else if (inet_pton(AF_INET6, network.data(), &address) == 1 &&
               !IN6_IS_ADDR_V4MAPPED(&address)) {
        network = {reinterpret_cast<const char *>(&address), sizeof address / 2};
    }
    return std::to_string(std::hash<std::string_view>{}(network) % kNumbers);
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
    const Bounds bounds = BoundsOf(work);
    const std::string all = bounds.kind;
    const std::string account =
        all + (request.IsLoggedIn() ? std::to_string(request.User().GetLoginUID()) : "public") +
        "-";
    const std::string own = request.IsLoggedIn() ? account : account + VisitorsNetwork() + "-";
    const auto end = steady_clock::now() + bounds.patience;
    const auto left = [&] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
    };
    // In this order: a request that waits for a turn of many holds one of its own.
    std::vector<Slot> taken;
    taken.push_back(Taken(own + "present-", bounds.present, {}));
    if (own != account) {
        taken.push_back(Taken(own, bounds.ofNetwork, left()));
    }
    taken.push_back(Taken(account, bounds.ofAccount, left()));
    taken.push_back(Taken(all, bounds.ofAll, left()));
    held = std::move(taken);
}

void GiveTurnBack() {
    held.clear();
}

}  // namespace tonvale_entry
