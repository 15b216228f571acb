#include "as_root.h"

#include <syslog.h>
#include <unistd.h>

#include "varn/process.h"

namespace tonvale_answers {

AsRoot::AsRoot() : uid_(geteuid()), gid_(getegid()) {
    if (VLIBSetEffective(0, 0) != 0) {
        syslog(LOG_ERR, "Failed to take root's rights: %m");
    }
}

AsRoot::~AsRoot() {
    if (VLIBSetEffective(uid_, gid_) != 0) {
        syslog(LOG_CRIT, "Failed to give root's rights back: %m");
    }
}

}  // namespace tonvale_answers
