// The entities that servers escape their DIDL-Lite documents with.
#pragma once

#include <string>

namespace Tonvale::dlna {

// Decodes in place. An "&" that begins none of the entities stays as it is.
void DecodeEntities(std::string &text) noexcept;

}  // namespace Tonvale::dlna
