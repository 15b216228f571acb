// The package's configuration: the administrator's file and the read-only defaults beside it.
//
// Both are key-value files (varn/keyfile.h), "/var/packages/Tonvale/etc/audio.conf" and
// "/var/packages/Tonvale/target/etc/audio.conf".
#pragma once

#include "varn/export.h"

extern "C" {

// Reads a key of the administrator's file into `out` (size bytes). Returns the value's length; 0
// for an empty value, -1 when the key is absent or an argument is bad, in both cases with `out` as
// "".
VARN_EXPORT int VARNAudioConfGet(const char *key, char *out, int size);

// Sets a key of the administrator's file. 0 or -1.
VARN_EXPORT int VARNAudioConfSet(const char *key, const char *value);

// True when the key's value equals `value`; `defaultFlag` != 0 when the key is absent. The first
// asks the administrator's file, the second the defaults.
VARN_EXPORT bool VARNAudioConfCheck(const char *key, const char *value, int defaultFlag);
VARN_EXPORT bool VARNAudioDefaultConfCheck(const char *key, const char *value, int defaultFlag);

}  // extern "C"
