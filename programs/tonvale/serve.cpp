#include <unistd.h>

#include <memory>

#include "command.h"
#include "database.h"
#include "varn/systempath.h"
#include "web_server.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

// The root's own database, for as long as this process serves, where this process started it.
class ServedDatabase {
  public:
    ServedDatabase() = default;
    ~ServedDatabase() {
        if (!started_) {
            return;
        }
        if (const Outcome done = varn::host::StopCluster(); !done) {
            Complain(done.Message());
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

  private:
    bool started_ = false;
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

int Serve(const WebOptions &options) {
    WebServer::HoldSignals();
    for (const auto check : {CheckRoot, CheckWeb, varn::host::PrepareWebFolders}) {
        if (const Outcome done = check(); !done) {
            return Failed(done);
        }
    }
    if (WebServer::IsAskedToEnd()) {
        return kDone;
    }
    ServedDatabase database;
    if (const Outcome done = database.Start(); !done) {
        return Failed(done);
    }
    if (WebServer::IsAskedToEnd()) {
        return kDone;
    }
    WebServer server;
    if (const Outcome done = server.Start(options); !done) {
        return Failed(done);
    }
    std::printf("Serving at http://%s/webapi/entry.cgi\nThe first login, NAME:PASSWORD, is in %s\n",
                WebAddress(options).c_str(), SystemPath(varn::path::kInitialLogin).c_str());
    std::fflush(stdout);
    if (server.WaitForEnd()) {
        return kDone;
    }
    Complain("the web server ended; " + SystemPath(varn::path::kWebLogDir) +
             "/error.log tells why");
    return kFailed;
}

}  // namespace

void AddServe(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("serve", "Serve the web API over HTTP until stopped");
    const auto options = std::make_shared<WebOptions>();
    verb->add_option("--listen", options->listen,
                     "The address to listen on (0.0.0.0 or :: for all)")
        ->type_name("ADDRESS")
        ->capture_default_str();
    verb->add_option("--port", options->port, "The port to listen on")
        ->check(CLI::Range(1, 65535))
        ->type_name("N")
        ->capture_default_str();
    verb->callback([options, &action] { action = [options] { return Serve(*options); }; });
}

}  // namespace tonvale_cli
