#include "as_root.h"

#include <syslog.h>

#include "varn/process.h"

namespace tonvale_service {

AsRoot::AsRoot() {
    if (VLIBSetEffective(0, 0) != 0) {
        syslog(LOG_ERR, "Failed to take root's rights: %m");
    }
}

}  // namespace tonvale_service
