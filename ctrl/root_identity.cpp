#include "ctrl/root_identity.h"

#include "ctrl/source.h"
#include "support/log.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::ctrl {

RootIdentity::RootIdentity() : switched_(ResetCredentialsByName("root") == 0) {
    if (!switched_) {
        LOG_ERROR(kCtrl, "Failed to switch to root.");
    }
}

RootIdentity::~RootIdentity() {
    if (switched_ && ResetCredentialsByName(varn::kPackageAccount) != 0) {
        LOG_ERROR(kCtrl, "Failed to switch back to %s.", varn::kPackageAccount);
    }
}

}  // namespace Tonvale::ctrl
