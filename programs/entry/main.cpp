// entry.cgi: the web API. A listening socket at standard input makes it a worker, which answers one
// request after the other; otherwise it answers one, as CGI (RFC 3875).
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

#include "action.h"
#include "login.h"
#include "varn/process.h"
#include "varn/systempath.h"
#include "worker.h"

namespace {

using namespace tonvale_entry;

// A statement of a request is cancelled after so many milliseconds, the wait for a locked table among
// them. What the administrator says of other settings stays.
constexpr char kStatementBound[] = "-c statement_timeout=15000";

void BoundStatements() {
    const char *const given = std::getenv("PGOPTIONS");
    const std::string options = given != nullptr ? std::string(given) + " " : "";
    setenv("PGOPTIONS", (options + kStatementBound).c_str(), 1);
}

// Links name the port that others connect to, where the web server behind has none.
void UseGatePort() {
    if (const char *const port = std::getenv("TONVALE_PORT"); port != nullptr) {
        setenv("SERVER_PORT", port, 1);
    }
}

bool Answer(Login login) {
    try {
        Request request = Request::Read(std::move(login));
        return FindAction(request)->Process();
    } catch (const Refusal &refusal) {
        const char *const query = std::getenv("QUERY_STRING");
        return RefuseUnread(query != nullptr ? query : "", refusal.code).Process();
    }
}

// True when all of the answer went out.
bool AnswerRequest() {
    Login login = Login::Take();
    UseGatePort();
    try {
        return Answer(std::move(login));
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "Unexpected failure: %s", error.what());
        return RefusedAction(Code::kFailed).Process();
    }
}

}  // namespace

int main() {
    const bool isWorker = IsListening(STDIN_FILENO);
    // The server keeps a log of its workers and of the processes that they start.
    const bool isOfServer = isWorker || std::getenv("SCGI") != nullptr;
    openlog("entry.cgi", isOfServer ? LOG_PERROR : 0, LOG_USER);
    // A client that goes away is an output that takes no more, which ends the encoder as well.
    std::signal(SIGPIPE, SIG_IGN);
    BoundStatements();
    // Whatever needs root's rights takes them for a moment, where the web server has them.
    if (ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        syslog(LOG_ERR, "Failed to switch to %s.", varn::kPackageAccount);
        return !isWorker && RefusedAction(Code::kFailed).Process() ? 0 : 1;
    }
    if (isWorker) {
        return RunWorker([] { AnswerRequest(); });
    }
    return AnswerRequest() ? 0 : 1;
}
