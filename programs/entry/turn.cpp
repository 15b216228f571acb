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
#include "worker.h"

namespace tonvale_entry {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using tonvale_service::Slot;

struct Bounds {
    const char *kind;
    unsigned present;    // at work and in line, of an account or a visitor's network
    unsigned ofNetwork;  // at work, of the turns of all visitors
    unsigned ofAccount;  // at work
    unsigned ofAll;      // at work, outside of workers
    std::chrono::seconds patience;
};

// A worker waits for a turn no longer than a short request takes.
constexpr auto kPatienceOfWorker = 20ms;

unsigned Processors() {
    return std::max(1U, std::thread::hardware_concurrency());
}

// As configured, or two for each processor and at least four: an encoder is many times faster than
// its listener, and waits most of the time.
unsigned Encoders() {
    constexpr long long kMost = 1000;
    char text[16] = "";
    VARNAudioConfGet("max_encoders", text, sizeof text);
    return static_cast<unsigned>(
        ParseNumber(text, 1, kMost).value_or(std::max(4U, 2 * Processors())));
}

Bounds BoundsOf(Work work) {
    switch (work) {
        case Work::kShort: {
            // There are two workers for each processor. The database has 40 connections, of which a
            // request takes three at most.
            constexpr unsigned kAll = 8;
            return {"request-", 128, 2, std::min(2 * Processors() - 1, kAll), kAll, 30s};
        }
        case Work::kElsewhere:
            return {"elsewhere-", 32, 2, 8, 32, 10s};
        case Work::kFile:
            return {"file-", 64, 16, 64, 512, 0s};
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

// A number of turns, of which a request needs one.
struct Turns {
    std::string kind;
    unsigned number;
};

std::vector<Slot> TakenInWorker(const std::vector<Turns> &needed) {
    std::vector<Slot> taken;
    for (const auto &[kind, number] : needed) {
        taken.emplace_back(kind, number, kPatienceOfWorker, Slot::Line::kIfEmpty);
        if (!taken.back()) {
            taken.clear();
            LeaveWorker();
        }
    }
    return taken;
}

// In this order: a request that waits for a turn of many holds one of its own.
std::vector<Slot> Taken(const std::vector<Turns> &needed, milliseconds patience) {
    const auto end = steady_clock::now() + patience;
    std::vector<Slot> taken;
    for (const auto &[kind, number] : needed) {
        taken.emplace_back(kind, number,
                           std::chrono::duration_cast<milliseconds>(end - steady_clock::now()));
        if (!taken.back()) {
            throw Refusal{taken.back().IsUnknown() ? Code::kFailed : Code::kBusy};
        }
    }
    return taken;
}

}  // namespace

void TakeTurn(const Request &request, Work work) {
    GiveTurnBack();
    if (work != Work::kShort) {
        LeaveWorker();
    }
    const Bounds bounds = BoundsOf(work);
    const std::string all = bounds.kind;
    const std::string account =
        all + (request.IsLoggedIn() ? std::to_string(request.User().GetLoginUID()) : "public") +
        "-";
    const std::string own = request.IsLoggedIn() ? account : account + VisitorsNetwork() + "-";
    std::vector<Turns> needed = {{account, bounds.ofAccount}};
    if (own != account) {
        needed.insert(needed.begin(), {own, bounds.ofNetwork});
    }
    if (IsWorker()) {
        held = TakenInWorker(needed);
        return;
    }
    held = Taken({{own + "present-", bounds.present}}, {});
    needed.push_back({all, bounds.ofAll});
    for (Slot &slot : Taken(needed, bounds.patience)) {
        held.push_back(std::move(slot));
    }
}

void GiveTurnBack() {
    held.clear();
}

}  // namespace tonvale_entry
