// entry.cgi: the web API. A listening socket at standard input makes it a worker, which answers one
// request after the other; otherwise it answers one, as CGI (RFC 3875).
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "action.h"
#include "login.h"
#include "route.h"
#include "subsonic/subsonic.h"
#include "varn/db.h"
#include "varn/process.h"
#include "varn/systempath.h"
#include "worker.h"

namespace {

using namespace tonvale_entry;

constexpr int kLongestStatement = 15000;  // milliseconds

// A request has so many at a time: most calls of the library take one of their own. A process of
// one request keeps none, because it may wait for a turn, or for its listener.
constexpr int kConnections = 2;

bool Answer(Login login) {
    try {
        Request request = Request::Read(std::move(login));
        return FindAction(request)->Process();
    } catch (const Refusal &refusal) {
        return RefuseUnread(RoutedQuery(), refusal).Process();
    }
}

// True when all of the answer went out.
bool AnswerRequest() {
    Login login = Login::Take();
    try {
        return tonvale_subsonic::IsAsked() ? tonvale_subsonic::Answer(std::move(login))
                                           : Answer(std::move(login));
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "Unexpected failure: %s", error.what());
        return RefusedAction({Code::kFailed}).Process();
    }
}

}  // namespace

int main() {
    const bool isWorker = IsListening(STDIN_FILENO);
    // The server keeps a log of its workers and handlers.
    openlog("entry.cgi", isWorker || IsOfServer() ? LOG_PERROR : 0, LOG_USER);
    // When a client goes away, writing fails, which also ends the encoder.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);  // children are waited for, whatever the parent ignores
    VARNDBBoundStatements(kLongestStatement);
    // What needs root's rights takes them for a moment, where the web server has them.
    if (ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        syslog(LOG_ERR, "Failed to switch to %s.", varn::kPackageAccount);
        return !isWorker && RefusedAction({Code::kFailed}).Process() ? 0 : 1;
    }
    if (isWorker) {
        VARNDBKeepConnections(kConnections);
        return RunWorker([] { AnswerRequest(); });
    }
    return AnswerRequest() ? 0 : 1;
}
