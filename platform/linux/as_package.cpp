#include "varn/as_package.h"

#include "varn/process.h"
#include "varn/systempath.h"

namespace varn {

AsPackage::AsPackage() : good_(ResetCredentialsByName(kPackageAccount) == 0) {}

}  // namespace varn
