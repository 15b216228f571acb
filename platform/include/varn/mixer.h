// Mixer devices of the Open Sound System, the only code that talks to sound hardware.
//
// The requests are those of <sys/soundcard.h>: a mixer has up to 25 channels, and a level holds the
// left side in its low byte and the right side in the next one, each 0-100.
//
// Below a root a plain file may stand in a device's place, so that a system can be tried without a
// card. It is a key-value file (varn/keyfile.h): `devices` is the device mask, `level4` the level
// of channel 4, both as whole numbers. Writing a level replaces the file.
#pragma once

#include "varn/export.h"

extern "C" {

// Opens a mixer for reading, which is all that its requests need. The path is opened as it is. A
// descriptor for close(2), or -1 with errno set.
VARN_EXPORT int VARNMixerOpen(const char *path);

// The mask of the channels that a mixer has, bit N for channel N. 0, or -1 with *mask as it was.
VARN_EXPORT int VARNMixerDevices(int mixer, int *mask);

// The level of a channel. 0, or -1 with *level as it was.
VARN_EXPORT int VARNMixerRead(int mixer, int channel, int *level);

// Sets the level of a channel; a driver may round it. 0 or -1.
VARN_EXPORT int VARNMixerWrite(int mixer, int channel, int level);

}  // extern "C"
