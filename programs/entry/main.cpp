// entry.cgi: the web API, one process a request.
#include <syslog.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "action.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_entry;

bool Answer() {
    try {
        const Request request = Request::Read();
        return FindAction(request)->Process();
    } catch (const Refusal &refusal) {
        const char *const query = std::getenv("QUERY_STRING");
        return RefuseUnread(query != nullptr ? query : "", refusal.code).Process();
    }
}

}  // namespace

int main() {
    openlog("entry.cgi", 0, LOG_USER);
    // A client that goes away is an output that takes no more, which ends the encoder as well.
    std::signal(SIGPIPE, SIG_IGN);
    // Whatever needs root's rights takes them for a moment, where the web server has them.
    if (ResetCredentialsByName(varn::kPackageAccount, true) != 0) {
        syslog(LOG_ERR, "Failed to switch to %s.", varn::kPackageAccount);
        return RefusedAction(Code::kFailed).Process() ? 0 : 1;
    }
    try {
        return Answer() ? 0 : 1;
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "Unexpected failure: %s", error.what());
        return RefusedAction(Code::kFailed).Process() ? 0 : 1;
    }
}
