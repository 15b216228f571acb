#include "turn.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "parameters.h"
#include "refusal.h"
#include "service/base/slot.h"
#include "service/people/network.h"
#include "varn/packageconf.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using tonvale_service::Slot;

// For requests outside of workers.
struct Bounds {
    const char *kind;
    unsigned present;    // at work and in line, of an account or a visitor's network
    unsigned ofNetwork;  // at work, of the turns of all visitors
    unsigned ofAccount;  // at work
    unsigned ofAll;
    std::chrono::seconds patience;
};

// A request that gets no turn in a worker within this time is not one of many short ones.
constexpr milliseconds kPatienceOfWorker{20};

unsigned Processors() {
    static const unsigned count = std::max(1U, std::thread::hardware_concurrency());
    return count;
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
        case Work::kShort:
            // The database has 40 connections, of which a request takes three at most, in a worker
            // or not.
            return {"request-", 128, 2, 3, 8, 30s};
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

// What a visitor of public pages is counted by. An account of this machine has all addresses of
// loopback. A few networks share a number, so that the files of turns stay few.
std::string VisitorsNetwork() {
    constexpr std::size_t kNumbers = 256;
    std::string network = tonvale_service::NetworkOf(Variable("REMOTE_ADDR"));
    if (network.starts_with("127.") || network == "::") {
        network = "127";
    }
    return std::to_string(std::hash<std::string>{}(network) % kNumbers);
}

// A number of turns, of which a request needs one.
struct Turns {
    std::string kind;
    unsigned number;
};

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

// All workers but one for an account, and two for a visitor's network.
void TakeTurnOfWorker(const std::string &network, const std::string &account) {
    const std::string kind = "worker-";
    const unsigned ofAccount = 2 * Processors() - 1;
    std::vector<Turns> needed = {{kind + account, ofAccount}};
    if (network != account) {
        needed.insert(needed.begin(), {kind + network, std::min(2U, ofAccount)});
    }
    // First without the line: a free turn is taken at once.
    for (const milliseconds patience : {0ms, kPatienceOfWorker}) {
        try {
            held = Taken(needed, patience);
            return;
        } catch (const Refusal &) {  // no turn was free
        }
    }
    LeaveWorker();
}

}  // namespace

void TakeTurn(const Request &request, Work work) {
    GiveTurnBack();
    const std::string account =
        (request.IsLoggedIn() ? std::to_string(request.User().GetLoginUID()) : "public") + "-";
    const std::string own = request.IsLoggedIn() ? account : account + VisitorsNetwork() + "-";
    if (IsWorker()) {
        if (work != Work::kShort) {
            LeaveWorker();
        }
        TakeTurnOfWorker(own, account);
        return;
    }
    if (work == Work::kElsewhere) {
        EndWithClient();
    }
    const Bounds bounds = BoundsOf(work);
    const std::string all = bounds.kind;
    held = Taken({{all + own + "present-", bounds.present}}, {});
    std::vector<Turns> needed = {{all + account, bounds.ofAccount}, {all, bounds.ofAll}};
    if (own != account) {
        needed.insert(needed.begin(), {all + own, bounds.ofNetwork});
    }
    for (Slot &slot : Taken(needed, bounds.patience)) {
        held.push_back(std::move(slot));
    }
}

void GiveTurnBack() {
    held.clear();
}

}  // namespace tonvale_entry
