#include "rights.h"

#include <syslog.h>

#include "refusal.h"
#include "varn/drop_rights.h"

namespace tonvale_entry {

void GiveUpRights(const char *file) {
    if (!varn::DropRights(file)) {
        syslog(LOG_ERR, "Failed to give up root's rights: %m");
        throw Refusal{Code::kFailed};
    }
}

}  // namespace tonvale_entry
