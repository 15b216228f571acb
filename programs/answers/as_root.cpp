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
    VLIBRestoreEffective(uid_, gid_);
}

}  // namespace tonvale_answers
