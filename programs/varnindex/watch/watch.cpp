#include "varnindex/watch/watch.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "varn/systempath.h"
#include "varnindex/descriptor.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/names.h"
#include "varnindex/scan.h"
#include "varnindex/watch/notices.h"
#include "varnindex/watch/tree_watch.h"
#include "varnindex/write/remove.h"

namespace varnindex {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Changes come in bursts: an album is copied, a program tags song after song.
constexpr auto kQuiet = 500ms;
constexpr auto kLongestGathering = 5s;

// What no event tells is looked at now and then: disks that come and go, homes, the spool.
constexpr auto kCheckEvery = 30s;
constexpr auto kRescanUnwatchedEvery = 5min;

constexpr auto kFirstPause = 1s;
constexpr auto kLongestPause = 60s;

// So many paths are looked at more quickly by a scan of everything.
constexpr std::size_t kMostPaths = 20'000;

void Say(const std::string &text) {
    std::cerr << "varnindex: " << text << std::endl;
}

// `last` is what was said last of the matter.
void SayOnce(std::string &last, const std::string &text) {
    if (std::exchange(last, text) != text) {
        Say(text);
    }
}

// ---- the end -----------------------------------------------------------------------------------

constexpr std::array kStopSignals = {SIGTERM, SIGINT};

volatile sig_atomic_t stopRequested = 0;
std::array<struct sigaction, kStopSignals.size()> handlersBefore;

void RequestStop(int signal) {
    stopRequested = 1;
    for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
        const struct sigaction &before = handlersBefore[i];
        if (kStopSignals[i] == signal && (before.sa_flags & SA_SIGINFO) == 0 &&
            before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
            before.sa_handler(signal);
        }
    }
}

// Catches the signals that end the watcher. They are held back except where Open() lets them in, so
// that none is missed between a look at Requested() and a wait.
class StopSignals {
  public:
    StopSignals() {
        stopRequested = 0;
        sigset_t ours;
        sigemptyset(&ours);
        for (const int signal : kStopSignals) {
            sigaddset(&ours, signal);
        }
        pthread_sigmask(SIG_BLOCK, &ours, &before_);
        open_ = before_;
        struct sigaction action = {};
        action.sa_handler = RequestStop;
        for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
            sigdelset(&open_, kStopSignals[i]);
            sigaction(kStopSignals[i], &action, &handlersBefore[i]);
        }
    }
    // What Requested() has seen is let in while the handlers are ours. Then they go back: one that
    // comes now ends the process as it would have before.
    ~StopSignals() {
        pthread_sigmask(SIG_SETMASK, &open_, nullptr);
        for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
            sigaction(kStopSignals[i], &handlersBefore[i], nullptr);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

    // A signal that is held back counts, too.
    static bool Requested() {
        sigset_t pending;
        return stopRequested != 0 ||
               (sigpending(&pending) == 0 &&
                std::any_of(kStopSignals.begin(), kStopSignals.end(),
                            [&](int signal) { return sigismember(&pending, signal) == 1; }));
    }

    // The mask with which the signals come in.
    const sigset_t &Open() const { return open_; }

  private:
    sigset_t before_;
    sigset_t open_;
};

class SignalsLetIn {
  public:
    explicit SignalsLetIn(const StopSignals &signals) {
        pthread_sigmask(SIG_SETMASK, &signals.Open(), &before_);
    }
    ~SignalsLetIn() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsLetIn(const SignalsLetIn &) = delete;
    SignalsLetIn &operator=(const SignalsLetIn &) = delete;

  private:
    sigset_t before_;
};

// ---- what there is to do -----------------------------------------------------------------------

// Changes that are gathered until it is quiet for a moment.
class Batch {
  public:
    void AddPath(const std::string &path) {
        paths_.insert(path);
        if (paths_.size() > kMostPaths) {
            AddEverything();
        }
        Touch();
    }
    void AddEverything() {
        everything_ = true;
        paths_.clear();
        Touch();
    }
    void AddId(int id) {
        ids_.insert(id);
        Touch();
    }

    bool Empty() const { return !everything_ && paths_.empty() && ids_.empty(); }
    bool Everything() const { return everything_; }
    const std::set<std::string> &Paths() const { return paths_; }
    const std::set<int> &Ids() const { return ids_; }
    Clock::time_point Due() const { return std::min(last_ + kQuiet, first_ + kLongestGathering); }

  private:
    void Touch() {
        last_ = Clock::now();
        if (first_ == Clock::time_point()) {
            first_ = last_;
        }
    }

    bool everything_ = false;
    std::set<std::string> paths_;
    std::set<int> ids_;
    Clock::time_point first_;
    Clock::time_point last_;
};

// Growing pauses before something is tried again.
class Pauses {
  public:
    Clock::time_point Until() const { return until_; }
    void Begin() {
        until_ = Clock::now() + next_;
        next_ = std::min<Clock::duration>(2 * next_, kLongestPause);
    }
    void End() { *this = Pauses(); }

  private:
    Clock::time_point until_;
    Clock::duration next_ = kFirstPause;
};

class Watcher {
  public:
    Watcher(const WatchJobs &jobs, NoticeSocket &socket, const StopSignals &signals)
        : jobs_(jobs),
          socket_(socket),
          signals_(signals),
          tree_(jobs.wanted, StopSignals::Requested),
          mounts_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

    void Run();

  private:
    void Start();
    void Wait();
    void ReadEvents();
    void ReadNotices();
    void Check();
    void CheckFolders();
    void CheckUnwatched();
    void TakeSpool();
    void Add(const Requests &requests);
    bool IsOurs(const std::string &path) const;
    void Work();
    void FinishSpooled();
    JobResult Do(const Batch &batch);
    bool Try(const Batch &batch);
    Clock::time_point NextWork() const { return std::max(batch_.Due(), pauses_.Until()); }

    const WatchJobs &jobs_;
    NoticeSocket &socket_;
    const StopSignals &signals_;
    TreeWatch tree_;
    Descriptor mounts_;  // polled for the changes of the system's table of mounts
    std::vector<std::string> roots_;
    Batch batch_;
    std::optional<SpooledNotices> spooled_;  // part of the batch
    Pauses pauses_;
    bool mountsChanged_ = false;
    bool databaseAway_ = false;
    std::string hindrance_;     // what was said last of why the batch is not done
    std::string limitProblem_;  // the same of folders that are not watched
    std::string spoolProblem_;  // the same of the spool
    Clock::time_point nextCheck_;
    Clock::time_point nextRescan_ = Clock::now() + kRescanUnwatchedEvery;
};

void Watcher::Run() {
    Start();
    while (!StopSignals::Requested()) {
        Wait();
        ReadEvents();
        ReadNotices();
        if (Clock::now() >= nextCheck_) {
            Check();
        }
        if (!batch_.Empty() && Clock::now() >= NextWork() && !StopSignals::Requested()) {
            Work();
        }
    }
}

void Watcher::Start() {
    for (const std::string_view file : {varn::path::kIndexFolders, varn::path::kNotifySpool}) {
        if (!tree_.AddFile(SystemPath(file))) {
            Say("cannot watch " + SystemPath(file) + ": " + std::generic_category().message(errno) +
                "; looking at it every " + std::to_string(kCheckEvery.count()) + " seconds");
        }
    }
    batch_.AddEverything();
    Check();
}

// Until something arrives, is due or ends the watcher.
void Watcher::Wait() {
    const auto until = batch_.Empty() ? nextCheck_ : std::min(nextCheck_, NextWork());
    const auto rest = std::max<Clock::duration>(until - Clock::now(), 0ns);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
    const timespec timeout = {seconds.count(), std::chrono::nanoseconds(rest - seconds).count()};
    std::array<pollfd, 3> sources = {pollfd{tree_.Get(), POLLIN, 0},
                                     pollfd{socket_.Get(), POLLIN, 0},
                                     pollfd{mounts_.Get(), POLLPRI, 0}};
    const int ready = ::ppoll(sources.data(), sources.size(), &timeout, &signals_.Open());
    if (ready < 0 && errno != EINTR) {
        throw SystemError("cannot wait for changes");
    }
    mountsChanged_ = mountsChanged_ || (ready > 0 && (sources[2].revents & POLLPRI) != 0);
}

void Watcher::ReadEvents() {
    std::set<std::string> changed;
    tree_.Read(changed);
    if (std::exchange(mountsChanged_, false)) {
        tree_.CheckMounts(changed);
        nextCheck_ = Clock::now();  // a root may be another folder, too
    }
    for (const std::string &path : changed) {
        if (path == SystemPath(varn::path::kIndexFolders) ||
            path == SystemPath(varn::path::kNotifySpool)) {
            nextCheck_ = Clock::now();
        } else {
            batch_.AddPath(path);
        }
    }
}

void Watcher::ReadNotices() {
    // Bounded, so that whoever sends without end keeps nothing else from being done.
    constexpr int kMostAtOnce = 1000;
    Requests requests;
    for (int i = 0; i < kMostAtOnce; ++i) {
        const auto notice = socket_.Receive();
        if (!notice) {
            break;
        }
        requests.Add(*notice);
    }
    Add(requests);
}

void Watcher::Add(const Requests &requests) {
    if (requests.everything) {
        batch_.AddEverything();
    }
    for (const std::string &path : requests.paths) {
        if (IsOurs(path)) {
            batch_.AddPath(path);
        }
    }
    for (const std::string &text : requests.ids) {
        if (const auto id = ParseRowId(text)) {
            batch_.AddId(*id);
        }
    }
}

bool Watcher::IsOurs(const std::string &path) const {
    return std::any_of(roots_.begin(), roots_.end(),
                       [&](const std::string &root) { return IsBelow(root, path); });
}

void Watcher::Check() {
    CheckFolders();
    CheckUnwatched();
    TakeSpool();
    nextCheck_ = Clock::now() + kCheckEvery;
}

void Watcher::CheckFolders() {
    const auto folders = jobs_.folders();
    if (folders.empty()) {
        // More likely a configuration that is being rewritten or lost than the wish for an empty
        // library: what is watched stays.
        return;
    }
    const bool isFirst = roots_.empty();
    const bool listChanged = !isFirst && folders != roots_;
    roots_ = folders;
    for (const std::string &root : tree_.SetRoots(roots_)) {
        batch_.AddPath(root);
    }
    if (listChanged) {
        batch_.AddEverything();
    }
}

void Watcher::CheckUnwatched() {
    if (tree_.Unwatched().empty()) {
        limitProblem_.clear();
        return;
    }
    SayOnce(limitProblem_,
            "the system's limit of watched folders (fs.inotify.max_user_watches) is reached; " +
                Printable(*tree_.Unwatched().begin()) + " and others are looked at every " +
                std::to_string(kRescanUnwatchedEvery.count()) + " minutes instead");
    if (Clock::now() >= nextRescan_) {
        for (const std::string &path : tree_.Unwatched()) {
            batch_.AddPath(path);
        }
        tree_.RetryUnwatched();
        nextRescan_ = Clock::now() + kRescanUnwatchedEvery;
    }
}

void Watcher::TakeSpool() {
    try {
        SpooledNotices notices = TakeSpooledNotices();
        if (!notices.Empty()) {
            Add(Requests{notices.Everything(), notices.Paths(), notices.RemovedIds()});
            spooled_ = std::move(notices);
            if (batch_.Empty()) {
                FinishSpooled();  // none of them was ours: nothing is to be done for them
            }
        }
        spoolProblem_.clear();
    } catch (const std::system_error &error) {
        SayOnce(spoolProblem_, std::string("cannot read the spooled notices: ") + error.what());
    }
}

// The batch is put aside, so that it is whole again when it cannot be worked off.
void Watcher::Work() {
    Batch batch = std::exchange(batch_, Batch());
    if (!Try(batch)) {
        batch_ = std::move(batch);
        pauses_.Begin();
        return;
    }
    hindrance_.clear();
    pauses_.End();
    if (!StopSignals::Requested()) {
        FinishSpooled();
    }
}

bool Watcher::Try(const Batch &batch) {
    try {
        const JobResult result = Do(batch);
        if (std::exchange(databaseAway_, false)) {
            Say("the database is back");
        }
        if (result == JobResult::kIndexerBusy) {
            SayOnce(hindrance_,
                    "another indexer is at work on this library; this one goes on when it is done");
        } else if (result == JobResult::kNothingIndexed) {
            SayOnce(hindrance_, "no folder is indexed; what has changed is looked at when one is");
        }
        return result == JobResult::kDone;
    } catch (const Stopped &) {
    } catch (const DatabaseError &error) {
        if (!std::exchange(databaseAway_, true)) {
            Say(std::string("the database refuses, and is tried again from time to time: ") +
                error.what());
        }
    } catch (const std::system_error &error) {
        SayOnce(hindrance_,
                std::string("cannot index, and tries again from time to time: ") + error.what());
    }
    return false;
}

void Watcher::FinishSpooled() {
    if (!spooled_) {
        return;
    }
    try {
        std::exchange(spooled_, std::nullopt)->Done();
        nextCheck_ = Clock::now();  // for what was spooled meanwhile
    } catch (const std::system_error &error) {
        Say(std::string("cannot remove the spooled notices: ") + error.what());
    }
}

JobResult Watcher::Do(const Batch &batch) {
    const SignalsLetIn letIn(signals_);
    if (!batch.Ids().empty()) {
        Database database;
        for (const int id : batch.Ids()) {
            // Most of them the library has removed itself.
            RemovePlaylist(database, id);
        }
    }
    if (batch.Everything()) {
        return jobs_.indexAll();
    }
    return batch.Paths().empty() ? JobResult::kDone
                                 : jobs_.indexPaths({batch.Paths().begin(), batch.Paths().end()});
}

}  // namespace

bool IsStopRequested() {
    return StopSignals::Requested();
}

int Watch(const WatchJobs &jobs) {
    try {
        const StopSignals signals;
        NoticeSocket socket;
        if (!socket.IsOurs()) {
            Say("another process watches this library already");
            return EXIT_FAILURE;
        }
        Watcher(jobs, socket, signals).Run();
        return EXIT_SUCCESS;
    } catch (const std::system_error &error) {
        Say(std::string("cannot watch: ") + error.what());
        return EXIT_FAILURE;
    }
}

}  // namespace varnindex
