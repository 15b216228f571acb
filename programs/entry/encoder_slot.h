// How many encoders run at once on this machine.
#pragma once

#include "service/slot.h"

namespace tonvale_entry {

// A turn of as many as are configured; false when every one is taken. Throws a Refusal when that
// cannot be told.
tonvale_service::Slot EncoderSlot();

}  // namespace tonvale_entry
