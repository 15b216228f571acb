#include "varnindex/watch/watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "varn/path.h"
#include "varn/scan_state.h"
#include "varn/systempath.h"
#include "varnindex/database.h"
#include "varnindex/descriptor.h"
#include "varnindex/read/names.h"
#include "varnindex/stop.h"
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

// A sender without end must not keep anything else from being done.
constexpr int kMostNoticesAtOnce = 1000;

void Say(const std::string &text) {
    std::cerr << "varnindex: " << text << std::endl;
}

// `last` is what was said last of the matter.
void SayOnce(std::string &last, const std::string &text) {
    if (std::exchange(last, text) != text) {
        Say(text);
    }
}

volatile std::sig_atomic_t stopRequested = 0;

// The parent with which this process ends, and the signal for that; 0: it does not.
int parentSignal = 0;
pid_t parent = 0;
int stopEvent = -1;  // can be read once a stop is requested, which ends a wait

void RequestStop(int /*signal*/) {
    const int saved = errno;
    stopRequested = 1;
    ::eventfd_write(stopEvent, 1);
    errno = saved;
}

void ListenForStop() {
    stopEvent = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    struct sigaction action = {};
    action.sa_handler = RequestStop;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT}) {
        sigaction(signal, &action, nullptr);
    }
}

// Tells when the list of folders or the spool is written.
Descriptor WatchFiles() {
    Descriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    for (const std::string_view file : {varn::path::kIndexFolders, varn::path::kNotifySpool}) {
        const std::string folder = varn::FolderOf(SystemPath(file));
        if (::inotify_add_watch(watch.Get(), folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO) < 0) {
            Say("cannot watch " + folder + ": " + std::generic_category().message(errno) +
                "; looking at it every " + std::to_string(kCheckEvery.count()) + " seconds");
        }
    }
    return watch;
}

// Changes that are gathered until it is quiet for a moment.
struct Batch {
    bool everything = false;
    std::set<std::string> paths = {};
    std::set<int> removedLists = {};
    Clock::time_point first = {};
    Clock::time_point last = {};

    void AddPath(const std::string &path) {
        if (!everything) {
            paths.insert(path);
        }
        if (paths.size() > kMostPaths) {
            everything = true;
            paths.clear();
        }
        Touch();
    }
    void Touch() {
        last = Clock::now();
        first = first == Clock::time_point() ? last : first;
    }
    bool Empty() const { return !everything && paths.empty() && removedLists.empty(); }
    Clock::time_point Due() const { return std::min(last + kQuiet, first + kLongestGathering); }
};

class Watcher {
  public:
    Watcher(const WatchJobs &jobs, NoticeSocket &socket)
        : jobs_(jobs),
          socket_(socket),
          tree_(IsStopRequested),
          files_(WatchFiles()),
          mounts_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

    void Run();

  private:
    void Wait();
    void ReadEvents();
    void Check();
    void CheckFolders();
    void CheckUnwatched();
    void TakeSpool();
    void Add(const varn::notify::Notice &notice);
    void Work();
    bool Try();
    JobResult Do();
    Clock::time_point NextWork() const { return std::max(batch_.Due(), pausedUntil_); }

    const WatchJobs &jobs_;
    NoticeSocket &socket_;
    TreeWatch tree_;
    Descriptor files_;
    Descriptor mounts_;  // polled for the changes of the system's table of mounts
    bool mountsChanged_ = false;
    std::vector<std::string> roots_;
    Batch batch_;
    Clock::time_point pausedUntil_;
    Clock::duration pause_ = kFirstPause;
    std::string hindrance_;     // what was said last of why the batch is not done
    std::string limitProblem_;  // the same of folders that are not watched
    std::string spoolProblem_;  // the same of the spool
    Clock::time_point nextCheck_;
    Clock::time_point nextRescan_ = Clock::now() + kRescanUnwatchedEvery;
};

void Watcher::Run() {
    batch_.everything = true;
    batch_.Touch();
    while (!IsStopRequested()) {
        if (Clock::now() >= nextCheck_) {
            Check();
        }
        if (!batch_.Empty() && Clock::now() >= NextWork()) {
            Work();
        }
        Wait();
        ReadEvents();
    }
}

// Until something arrives, is due or ends the watcher.
void Watcher::Wait() {
    if (parentSignal != 0) {
        ::prctl(PR_SET_PDEATHSIG, parentSignal);
    }
    if (IsStopRequested()) {
        return;
    }
    const auto until = batch_.Empty() ? nextCheck_ : std::min(nextCheck_, NextWork());
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    std::array<pollfd, 5> sources = {
        pollfd{mounts_.Get(), POLLPRI, 0}, pollfd{tree_.Get(), POLLIN, 0},
        pollfd{files_.Get(), POLLIN, 0}, pollfd{socket_.Get(), POLLIN, 0},
        pollfd{stopEvent, POLLIN, 0}};
    const int ready = ::poll(sources.data(), sources.size(),
                             static_cast<int>(std::max(rest.count(), decltype(rest)::rep{0})));
    if (ready < 0 && errno != EINTR) {
        throw SystemError("cannot wait for changes");
    }
    mountsChanged_ = ready > 0 && (sources[0].revents & POLLPRI) != 0;
}

void Watcher::ReadEvents() {
    std::set<std::string> changed;
    tree_.Read(changed);
    if (mountsChanged_) {
        tree_.CheckMounts(changed);
    }
    for (const std::string &path : changed) {
        batch_.AddPath(path);
    }
    std::array<char, 4096> events;
    bool filesChanged = false;
    while (::read(files_.Get(), events.data(), events.size()) > 0) {
        filesChanged = true;
    }
    if (filesChanged || mountsChanged_) {  // a root may also be another folder now
        nextCheck_ = Clock::now();
    }
    for (int i = 0; i < kMostNoticesAtOnce; ++i) {
        const auto notice = socket_.Receive();
        if (!notice) {
            return;
        }
        Add(*notice);
    }
}

void Watcher::Add(const varn::notify::Notice &notice) {
    if (notice.everything) {
        // Somebody asks for it, and waits.
        batch_.everything = true;
        pausedUntil_ = {};
        batch_.Touch();
    } else if (notice.code == VLIB_NOTIFY_DELETED) {
        if (const auto id = ParseRowId(notice.pathOrId)) {
            batch_.removedLists.insert(*id);
            batch_.Touch();
        }
    } else {
        for (const std::string &path : {notice.pathOrId, notice.oldPath}) {
            if (std::any_of(roots_.begin(), roots_.end(),
                            [&](const std::string &root) { return varn::PathBelow(root, path); })) {
                batch_.AddPath(path);
            }
        }
    }
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
    if (std::exchange(roots_, folders) != folders) {
        batch_.everything = true;
        batch_.Touch();
    }
    for (const std::string &root : tree_.SetRoots(roots_)) {
        batch_.AddPath(root);
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
        for (const varn::notify::Notice &notice : TakeSpooledNotices()) {
            Add(notice);
        }
        spoolProblem_.clear();
    } catch (const std::system_error &error) {
        SayOnce(spoolProblem_, std::string("cannot read the spooled notices: ") + error.what());
    }
}

// What cannot be done now stays in the batch.
void Watcher::Work() {
    if (Try()) {
        if (!hindrance_.empty()) {
            Say("indexing goes on");
        }
        batch_ = Batch();
        hindrance_.clear();
        pause_ = kFirstPause;
    } else {
        pausedUntil_ = Clock::now() + pause_;
        pause_ = std::min<Clock::duration>(2 * pause_, kLongestPause);
    }
}

bool Watcher::Try() {
    try {
        const JobResult result = Do();
        if (result == JobResult::kIndexerBusy) {
            SayOnce(hindrance_,
                    "another indexer is at work on this library; this one goes on when it is done");
        } else if (result == JobResult::kNothingIndexed) {
            SayOnce(hindrance_, "no folder is indexed; what has changed is looked at when one is");
            varn::scan::NoteProblem(hindrance_);
        }
        return result == JobResult::kDone;
    } catch (const Stopped &) {
        // Somebody stopped it: the next scan of everything does what is left.
        return !IsStopRequested();
    } catch (const DatabaseError &error) {
        SayOnce(hindrance_,
                std::string("the database refuses, and is tried again from time to time: ") +
                    error.what());
    } catch (const std::system_error &error) {
        SayOnce(hindrance_,
                std::string("cannot index, and tries again from time to time: ") + error.what());
    }
    return false;
}

JobResult Watcher::Do() {
    if (!batch_.removedLists.empty()) {
        Database database;
        for (const int id : batch_.removedLists) {
            RemovePlaylist(database, id);  // most of them the library has removed itself
        }
    }
    if (batch_.everything) {
        return jobs_.indexAll();
    }
    return batch_.paths.empty() ? JobResult::kDone
                                : jobs_.indexPaths({batch_.paths.begin(), batch_.paths.end()});
}

}  // namespace

void NoteParent() {
    ::prctl(PR_GET_PDEATHSIG, &parentSignal);
    parent = ::getppid();
}

bool IsStopRequested() {
    return stopRequested != 0 || (parentSignal != 0 && ::getppid() != parent);
}

int Watch(const WatchJobs &jobs) {
    try {
        ListenForStop();
        NoticeSocket socket;
        if (!socket.IsOurs()) {
            Say("another process watches this library already");
            return EXIT_FAILURE;
        }
        Watcher(jobs, socket).Run();
        return EXIT_SUCCESS;
    } catch (const std::system_error &error) {
        Say(std::string("cannot watch: ") + error.what());
        return EXIT_FAILURE;
    }
}

}  // namespace varnindex
