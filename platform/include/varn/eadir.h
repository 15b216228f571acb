// The extended-attribute folder of a song (varn/share.h), when it is there already.
#pragma once

#include <string>

#include "varn/descriptor.h"
#include "varn/export.h"

namespace varn {

// Opens FOLDER/@eaDir/NAME, as VARNEAOpenDir does, but makes nothing. Empty with errno set.
VARN_EXPORT UniqueFd OpenEADir(const std::string &eaDir);

}  // namespace varn
