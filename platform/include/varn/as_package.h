// Running as the package's account for the length of a scope.
#pragma once

#include "varn/run_as.h"

namespace varn {

struct AsPackage : RunAs {
    AsPackage() : RunAs(Who::kPackage) {}
};

}  // namespace varn
