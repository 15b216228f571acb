#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>

#include "command.h"
#include "database.h"
#include "list_warmer.h"
#include "varn/descriptor.h"
#include "varn/systempath.h"
#include "web_server.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

constexpr std::string_view kLock = "/var/run/Tonvale-web/serve.lock";

// One server a root. The kernel names the holder of a record lock, and no child inherits it: a
// database or a request that outlives a killed server does not keep the next one out.
class ServeLock {
  public:
    Outcome Take() {
        const std::string path = SystemPath(kLock);
        file_.Reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        struct flock lock {};
        bool isHeld = false;
        while (file_) {
            lock.l_type = F_WRLCK;
            if (fcntl(file_.Get(), F_SETLK, &lock) == 0) {
                return Outcome::Good();
            }
            isHeld =
                (errno == EAGAIN || errno == EACCES) && fcntl(file_.Get(), F_GETLK, &lock) == 0;
            if (!isHeld || lock.l_type != F_UNLCK) {  // else it was given back a moment ago
                break;
            }
        }
        if (!isHeld) {
            return Outcome::Problem("cannot lock " + path + ": " + std::strerror(errno));
        }
        return Outcome::Problem((SystemRoot().empty() ? "this system" : SystemRoot()) +
                                " is being served already by process " +
                                std::to_string(lock.l_pid));
    }

  private:
    varn::UniqueFd file_;
};

// The root's own database, which is kept running while this process serves, and ends with it where
// this process started it.
class ServedDatabase {
  public:
    ServedDatabase() = default;
    ~ServedDatabase() {
        if (started_) {
            Succeeded(varn::host::StopCluster());
        }
    }
    ServedDatabase(const ServedDatabase &) = delete;
    ServedDatabase &operator=(const ServedDatabase &) = delete;

    Outcome Start() {
        if (varn::host::HasCluster()) {
            if (Outcome done = varn::host::StartCluster(&started_); !done) {
                return done;
            }
        }
        return varn::host::CheckSchema();
    }

    // Starts it again where it has ended, once a second at most. A failure is told once.
    void Keep() {
        const auto now = std::chrono::steady_clock::now();
        if (now < nextTry_ || !varn::host::HasCluster() || varn::host::IsClusterRunning()) {
            return;
        }
        nextTry_ = now + std::chrono::seconds(1);
        bool isNew = false;
        const Outcome done = varn::host::StartCluster(&isNew);
        started_ = started_ || isNew;
        const std::string news =
            done ? isNew ? "the database had ended and was started again" : "" : done.Message();
        if (!news.empty() && (done || news != complaint_)) {
            Complain(news);
        }
        complaint_ = done ? "" : news;
    }

  private:
    bool started_ = false;
    std::string complaint_;
    std::chrono::steady_clock::time_point nextTry_{};
};

int Failed(const Outcome &outcome) {
    Complain(outcome.Message());
    return kFailed;
}

// What init makes for the web, which a root of an earlier version does not have.
Outcome CheckWeb() {
    for (const std::string_view file : {varn::path::kLogins, varn::path::kWebApi}) {
        if (access(SystemPath(file).c_str(), F_OK) != 0) {
            return Outcome::Problem("there is no " + SystemPath(file) + ": run 'tonvale init" +
                                    varn::host::RootOption() + "'");
        }
    }
    return Outcome::Good();
}

// A relative path holds from where the command was given.
Outcome ReadTls(const std::vector<std::string> &files, WebOptions &options) {
    if (files.empty()) {
        return Outcome::Good();
    }
    options.address.isTls = true;
    options.certificate = std::filesystem::absolute(files[0]);
    options.key = std::filesystem::absolute(files[1]);
    return varn::host::CheckCertificate(options.certificate, options.key);
}

int Serve(WebOptions options, const std::vector<std::string> &tls) {
    Children::HoldSignals();
    ServeLock lock;  // until all that is started below has ended
    for (const auto check : {CheckRoot, CheckWeb, varn::host::PrepareWebFolders}) {
        if (const Outcome done = check(); !done) {
            return Failed(done);
        }
    }
    if (const Outcome done = ReadTls(tls, options); !done) {
        return Failed(done);
    }
    if (const Outcome done = lock.Take(); !done) {
        return Failed(done);
    }
    if (Children::IsAskedToEnd()) {
        return kDone;
    }
    ServedDatabase database;
    if (const Outcome done = database.Start(); !done) {
        return Failed(done);
    }
    if (Children::IsAskedToEnd()) {
        return kDone;
    }
    WebServer server;
    if (const Outcome done = server.Start(options); !done) {
        return Failed(done);
    }
    std::printf("Serving at %s/\n", options.address.Url().c_str());
    if (const std::string first = SystemPath(varn::path::kInitialLogin);
        access(first.c_str(), F_OK) == 0) {
        std::printf("The first login, NAME:PASSWORD, is in %s\n", first.c_str());
    }
    std::fflush(stdout);
    ListWarmer lists;
    do {
        database.Keep();
        server.Look();
        lists.Look();
    } while (!Children::WaitForSignal());
    return kDone;
}

}  // namespace

void AddServe(const Verb &app) {
    const Verb verb =
        app.AddVerb("serve", "Serve the web API and the page over HTTP until stopped");
    const auto options = std::make_shared<WebOptions>();
    const auto tls = std::make_shared<std::vector<std::string>>();
    verb.AddText("--listen", options->address.listen,
                 "The address to listen on (0.0.0.0 or :: for all)")
        .ValueName("ADDRESS");
    verb.AddNumber("--port", options->address.port, 1, "The port to listen on, 1 to 65535", 65535);
    verb.AddText("--tls", *tls, "Serve over TLS, with a certificate and its key in PEM files")
        .ValueName("CERTIFICATE KEY")
        .Pair();
    verb.AddFlag("--watch,!--no-watch", options->isWatched,
                 "Follow every change of the music (the default), or do not");
    verb.Do([options, tls] { return Serve(*options, *tls); });
}

}  // namespace tonvale_cli
