// The machine's own sound card.
#pragma once

#include <json/value.h>

namespace tonvale_service {

// Every call but the first throws a Failure. Mixers are opened with root's rights, where there are
// any.

// Its number ("card", null when there is none) and devices, the volume that is configured
// ("volume") and the one of its mixer ("mixer_volume"; null when they are not known), and what it
// can do.
Json::Value SoundCard();

// Sets the volume in the configuration and, where there is a card, in the mixers. The same object.
Json::Value SetCardVolume(int volume);

// Store the kernel's volume in the configuration; give that of the configuration to the mixers.
void StoreCardVolume();
void RestoreCardVolume();

}  // namespace tonvale_service
