#include "web_server.h"

#include <fcntl.h>
#include <netdb.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "installed.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using varn::host::Outcome;

constexpr char kNginx[] = "/usr/sbin/nginx";
constexpr auto kPatience = 20s;
constexpr auto kPollInterval = 20ms;
constexpr off_t kMostLog = 16 << 20;

// What the workers find in their environment besides the request: where the system is, where an
// external database is, and when a day begins.
constexpr const char *kHandedOn[] = {"TONVALE_ROOT", "TZ",           "PGHOST",
                                     "PGPORT",       "PGPASSFILE",   "PGSSLMODE",
                                     "PGOPTIONS",    "ASAN_OPTIONS", "UBSAN_OPTIONS"};

std::vector<std::string> Environment() {
    std::vector<std::string> entries = {"PATH=/usr/bin:/bin"};
    for (const char *name : kHandedOn) {
        if (const char *value = std::getenv(name); value != nullptr) {
            entries.push_back(std::string(name) + "=" + value);
        }
    }
    return entries;
}

Outcome Failed(const std::string &what) {
    return Outcome::Problem("cannot " + what + ": " + std::strerror(errno));
}

// The page's files stand beside the program, in a place that nginx's account may not reach.
Outcome CopyPage() {
    const fs::path page = SystemPath(varn::path::kWebPage);
    const fs::path source = ProgramDir() + "/../share/tonvale/web";
    std::error_code error;
    fs::remove_all(page, error);
    if (!fs::is_directory(source)) {
        return Outcome::Good();
    }
    try {
        fs::create_directory(page);
        fs::permissions(page, fs::perms(0755));
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(source)) {
            const fs::path copy = page / fs::relative(entry.path(), source);
            if (entry.is_directory()) {
                fs::create_directory(copy);
            } else {
                fs::copy_file(entry.path(), copy);
                fs::last_write_time(copy, entry.last_write_time());
            }
            fs::permissions(copy, fs::perms(entry.is_directory() ? 0755 : 0644));
        }
    } catch (const fs::filesystem_error &failure) {
        return Outcome::Problem(std::string("cannot copy the page: ") + failure.what());
    }
    return Outcome::Good();
}

class Address {
  public:
    explicit Address(const WebAddress &address) {
        addrinfo hints{};
        hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo *found = nullptr;
        error_ = getaddrinfo(address.listen.c_str(), std::to_string(address.port).c_str(), &hints,
                             &found);
        info_.reset(found);
    }

    Outcome Check() const {
        if (error_ != 0) {
            return Outcome::Problem(std::string("--listen takes an address of this machine: ") +
                                    gai_strerror(error_));
        }
        return Outcome::Good();
    }
    // 0, or an errno value.
    int TryToListen() const {
        return With([this](int fd) {
            const int on = 1;
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
            return bind(fd, info_->ai_addr, info_->ai_addrlen) == 0 && listen(fd, 1) == 0;
        });
    }
    bool IsServed() const {
        return With([this](int fd) {
                   return connect(fd, info_->ai_addr, info_->ai_addrlen) == 0;
               }) == 0;
    }

  private:
    template <typename Try>
    int With(const Try &attempt) const {
        const varn::UniqueFd fd(socket(info_->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        return fd && attempt(fd.Get()) ? 0 : errno;
    }

    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> info_{nullptr, freeaddrinfo};
    int error_ = 0;
};

Kept Nginx() {
    return {.arguments = {kNginx, "-e", "stderr", "-c", SystemPath(varn::path::kWebConf)}};
}

// Two for each processor: some wait for the database.
Kept Workers(int socket) {
    return {.arguments = {SystemPath(varn::path::kWebApi)},
            .count = 2 * std::max(1U, std::thread::hardware_concurrency()),
            .socket = socket,
            .environment = Environment()};
}

// Its writers have it open, so it is copied and emptied. A few lines may be lost between.
void BoundLog(const std::string &path) {
    const varn::UniqueFd log(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat info {};
    if (!log || fstat(log.Get(), &info) != 0 || info.st_size < kMostLog) {
        return;
    }
    const std::string older = path + ".1";
    unlink(older.c_str());
    const varn::UniqueFd copy(
        open(older.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0640));
    while (copy && sendfile(copy.Get(), log.Get(), nullptr, kMostLog) > 0) {
    }
    if (ftruncate(log.Get(), 0) != 0) {
        std::perror(path.c_str());
    }
}

}  // namespace

WebServer::~WebServer() {
    children_.reset();
    CopyLog();
}

Outcome WebServer::OpenLog() {
    const std::string path = SystemPath(varn::path::kWebLog);
    log_.Reset(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0640));
    if (!log_) {
        return Failed("open " + path);
    }
    copied_ = lseek(log_.Get(), 0, SEEK_END);
    return Outcome::Good();
}

// Only nginx connects: its account is in the socket's group, which is the folder's.
Outcome WebServer::Listen() {
    const std::string path = SystemPath(varn::path::kWebSocket);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return Outcome::Problem("the path " + path + " is too long for a socket");
    }
    path.copy(address.sun_path, path.size());
    unlink(path.c_str());
    socket_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const mode_t before = umask(geteuid() == 0 ? 0117 : 0177);
    const bool isBound =
        socket_ &&
        bind(socket_.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    umask(before);
    return isBound && listen(socket_.Get(), SOMAXCONN) == 0 ? Outcome::Good()
                                                            : Failed("listen on " + path);
}

void WebServer::CopyLog() {
    struct stat info {};
    if (fstat(log_.Get(), &info) == 0 && info.st_size < copied_) {
        copied_ = 0;  // it was emptied
    }
    char block[4096];
    for (ssize_t got; (got = pread(log_.Get(), block, sizeof block, copied_)) > 0;) {
        copied_ += got;
        varn::WriteAll(STDERR_FILENO, {block, static_cast<std::size_t>(got)});
    }
    BoundLog(SystemPath(varn::path::kWebLog));
    BoundLog(SystemPath(varn::path::kWebLogDir) + "/access.log");
}

Outcome WebServer::Start(const WebOptions &options) {
    const Address address(options.address);
    if (Outcome done = address.Check(); !done) {
        return done;
    }
    if (const int error = address.TryToListen(); error != 0) {
        return Outcome::Problem("cannot listen on " + options.address.HostAndPort() + ": " +
                                std::strerror(error) + "; choose another port with --port N");
    }
    if (Outcome done = WriteWebConfig(options); !done) {
        return done;
    }
    if (Outcome done = CopyPage(); !done) {
        return done;
    }
    if (Outcome done = OpenLog(); !done) {
        return done;
    }
    if (Outcome done = Listen(); !done) {
        return done;
    }
    children_.emplace(log_.Get());
    children_->Keep(Nginx());
    children_->Keep(Workers(socket_.Get()));
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!address.IsServed()) {
        Look();
        if (!children_->AreWhole() || std::chrono::steady_clock::now() > deadline) {
            return Outcome::Problem("the web server did not start; " +
                                    SystemPath(varn::path::kWebLog) + " tells why");
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    children_->Keep({.arguments = {ProgramDir() + "/tonvale-events"}});
    if (options.isWatched) {
        children_->Keep({.arguments = {Indexer(), "--watch"}});
    }
    return Outcome::Good();
}

void WebServer::Look() {
    children_->Look();
    CopyLog();
}

}  // namespace tonvale_cli
