#include "database.h"

#include <unistd.h>

#include <cstdio>

#include "varn/systempath.h"

namespace tonvale_cli {

using varn::host::Outcome;
using varn::host::RootOption;

Outcome CheckRoot() {
    if (SystemRoot().empty() || access(SystemPath(varn::path::kPasswd).c_str(), F_OK) == 0) {
        return Outcome::Good();
    }
    return Outcome::Problem(SystemRoot() + " is not prepared: run 'tonvale init" + RootOption() +
                            "'");
}

Outcome StartDatabase() {
    if (!varn::host::HasCluster()) {
        return Outcome::Good();
    }
    bool started = false;
    Outcome done = varn::host::StartCluster(&started);
    if (done && started) {
        std::fprintf(stderr, "The database was started and stays up; 'tonvale stop%s' stops it.\n",
                     RootOption().c_str());
    }
    return done;
}

void StartForLinks() {
    Succeeded(StartDatabase());
}

Outcome EnsureDatabase() {
    if (Outcome done = CheckRoot(); !done) {
        return done;
    }
    if (Outcome done = StartDatabase(); !done) {
        return done;
    }
    return varn::host::CheckSchema();
}

}  // namespace tonvale_cli
