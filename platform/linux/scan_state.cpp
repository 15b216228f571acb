#include "varn/scan_state.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <utility>

#include "linux/error.h"
#include "linux/replace_file.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn::scan {
namespace {

using namespace std::chrono_literals;

constexpr auto kWriteEvery = 400ms;
constexpr auto kLookEvery = 200ms;
constexpr std::size_t kMostBytes = 16 << 10;
constexpr std::size_t kLongestProblem = 2000;

// When the wish for an end is looked for again, and what was found last.
std::chrono::steady_clock::time_point nextLook;
bool isAsked = false;

std::string Beside(const char *ending) {
    return SystemPath(path::kScanState) + ending;
}

struct Number {
    const char *name;
    long long Changes::*place;
};
constexpr Number kChanges[] = {{"added", &Changes::added},
                               {"changed", &Changes::changed},
                               {"moved", &Changes::moved},
                               {"removed", &Changes::removed},
                               {"failed", &Changes::failed}};

struct Count {
    const char *name;
    long long State::*place;
};
constexpr Count kCounts[] = {{"done", &State::done},
                             {"total", &State::total},
                             {"started", &State::started},
                             {"ended", &State::ended}};

std::string TextOf(const State &state) {
    Json::Value told(Json::objectValue);
    for (const auto &[name, place] : kChanges) {
        told[name] = Json::Int64{state.changes.*place};
    }
    for (const auto &[name, place] : kCounts) {
        told[name] = Json::Int64{state.*place};
    }
    told["whole"] = state.isWhole;
    told["phase"] = state.phase;
    told["problem"] = state.problem;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, told) + "\n";
}

State StateIn(const std::string &text) {
    Json::Value told;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &told, nullptr) ||
        !told.isObject()) {
        return {};
    }
    State state;
    const auto number = [&](const char *name) {
        return told[name].isInt64() ? static_cast<long long>(told[name].asInt64()) : 0;
    };
    const auto words = [&](const char *name) {
        return told[name].isString() ? told[name].asString() : std::string();
    };
    for (const auto &[name, place] : kChanges) {
        state.changes.*place = number(name);
    }
    for (const auto &[name, place] : kCounts) {
        state.*place = number(name);
    }
    state.isWhole = told["whole"].isBool() && told["whole"].asBool();
    state.phase = words("phase");
    state.problem = words("problem");
    return state;
}

State Read() {
    const UniqueFd file(
        open(SystemPath(path::kScanState).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    std::array<char, kMostBytes> text;
    const ssize_t length = file ? read(file.Get(), text.data(), text.size()) : -1;
    return length > 0 ? StateIn(std::string(text.data(), static_cast<std::size_t>(length)))
                      : State();
}

UniqueFd OpenLock(int flags) {
    return UniqueFd(
        open(Beside(".lock").c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
}

// Asks for the lock without taking it.
bool IsLocked() {
    const UniqueFd lock = OpenLock(O_RDONLY);
    struct flock held {};
    held.l_type = F_WRLCK;
    return lock && fcntl(lock.Get(), F_GETLK, &held) == 0 && held.l_type != F_UNLCK;
}

// Of the package, whichever account scans.
UniqueFd TakeLock() {
    const RunAs package(Who::kPackage);
    UniqueFd lock = OpenLock(O_RDWR | O_CREAT);
    struct flock wanted {};
    wanted.l_type = F_WRLCK;
    return lock && fcntl(lock.Get(), F_SETLK, &wanted) == 0 ? std::move(lock) : UniqueFd();
}

// A scan writes some times a second and loses nothing with this file: it is not synced.
void Store(const State &state, int lock) {
    struct stat owned {};
    if (fstat(lock, &owned) == 0) {
        const FileOwner owner{owned.st_uid, owned.st_gid};
        ReplaceFileAt(AT_FDCWD, SystemPath(path::kScanState), TextOf(state), 0600, &owner, false,
                      false);
    }
}

std::string Bounded(std::string_view problem) {
    return std::string(problem.substr(0, kLongestProblem));
}

}  // namespace

State ReadState() {
    return Guarded(State(), [] {
        State state = Read();
        state.isRunning = IsLocked();
        if (!state.isRunning) {
            state.isWhole = false;
            state.phase.clear();
            state.done = state.total = 0;
        }
        return state;
    });
}

bool AskToStop() {
    return Guarded(false, [] {
        const UniqueFd file(open(Beside(".stop").c_str(),
                                 O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
        return static_cast<bool>(file);
    });
}

bool IsAskedToStop() {
    if (const auto now = std::chrono::steady_clock::now(); now >= nextLook) {
        nextLook = now + kLookEvery;
        isAsked = access(Beside(".stop").c_str(), F_OK) == 0;
    }
    return isAsked;
}

void NoteProblem(std::string_view problem) {
    Guarded(false, [problem] {
        if (const UniqueFd lock = TakeLock()) {
            State state = Read();
            state.problem = Bounded(problem);
            Store(state, lock.Get());
        }
        return true;
    });
}

Publisher::Publisher(bool isWhole) : lock_(TakeLock()) {
    if (!lock_) {
        return;
    }
    unlink(Beside(".stop").c_str());
    nextLook = {};
    state_ = Read();
    state_.problem = isWhole ? "" : state_.problem;
    state_.isWhole = isWhole;
    state_.phase.clear();
    state_.done = state_.total = 0;
    state_.started = std::time(nullptr);
    state_.ended = 0;
    state_.changes = {};
    Write(Clock::now());
}

Publisher::~Publisher() {
    state_.phase.clear();
    state_.ended = std::time(nullptr);
    Write(Clock::now());
}

void Publisher::StartPhase(std::string_view name, long long total) {
    state_.phase = name;
    state_.done = 0;
    state_.total = total;
    Write(Clock::now());
}

void Publisher::Write(Clock::time_point now) {
    next_ = now + kWriteEvery;
    if (lock_) {
        Guarded(false, [this] {
            state_.problem = Bounded(state_.problem);
            Store(state_, lock_.Get());
            return true;
        });
    }
}

}  // namespace varn::scan
