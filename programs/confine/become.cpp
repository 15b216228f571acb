#include "confine/become.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <vector>

#include "varn/drop_rights.h"
#include "varn/systempath.h"

namespace confine {

namespace {

bool Limit(__rlimit_resource resource, rlim_t most) {
    rlimit limit = {};
    if (getrlimit(resource, &limit) != 0) {
        return false;
    }
    limit.rlim_max = std::min(limit.rlim_max, most);
    limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
    return setrlimit(resource, &limit) == 0;
}

// The memory last: this process may have more of it already than the program is to get.
bool LimitAll(const Limits &limits) {
    return Limit(RLIMIT_CORE, 0) && Limit(RLIMIT_CPU, limits.processorTime) &&
           Limit(RLIMIT_FSIZE, limits.fileSize) && Limit(RLIMIT_NOFILE, limits.files) &&
           Limit(RLIMIT_AS, limits.memory);
}

// What the program may know of its caller's environment. A request stands there with its login. Not
// HTTP_PROXY: a client writes that one, as its header "Proxy".
constexpr std::string_view kKept[] = {"HOME=",        "LANG=",    "LC_", "MAGICK_",
                                      "PATH=",        "TMPDIR=",  "TZ=", "http_proxy=",
                                      "https_proxy=", "no_proxy="};

std::vector<char *> KeptEnvironment() {
    std::vector<char *> kept;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (std::any_of(std::begin(kKept), std::end(kKept),
                        [&](std::string_view name) { return text.starts_with(name); })) {
            kept.push_back(*variable);
        }
    }
    kept.push_back(nullptr);
    return kept;
}

}  // namespace

bool DropRightsToRun(const char *program, const char *file) {
    if (varn::DropRights(file)) {
        return true;
    }
    std::fprintf(stderr, "cannot run %s as the account %s: %m\n", program, varn::kPackageAccount);
    return false;
}

int Become(const char *program, char *const argv[], const Limits &limits) {
    // What does not fit is an error like a full disk, and not the end of the program: what it says
    // on standard error may go to a file.
    std::signal(SIGXFSZ, SIG_IGN);
    // Looked at first: under the limits the reason of a failure may not fit into a log any more.
    if (access(program, X_OK) == 0 && LimitAll(limits)) {
        execve(program, argv, KeptEnvironment().data());
    }
    std::perror(program);
    return kNotRun;
}

}  // namespace confine
