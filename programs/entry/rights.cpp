#include "rights.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

#include "refusal.h"
#include "varn/drop_rights.h"
#include "worker.h"

namespace tonvale_entry {

void GiveUpRights(const char *file) {
    if (IsWorker()) {
        EndIfRoot();
        return;
    }
    if (!varn::DropRights(file)) {
        syslog(LOG_ERR, "Failed to give up root's rights: %m");
        throw Refusal{Code::kFailed};
    }
}

void EndIfRoot() {
    if (geteuid() == 0) {
        syslog(LOG_AUTH | LOG_CRIT, "root's rights were not given back");
        std::_Exit(EXIT_FAILURE);
    }
}

}  // namespace tonvale_entry
