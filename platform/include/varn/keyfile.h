// Key=value text files, the platform's format for small settings.
//
// One entry a line: key=value or key="value", blanks round both allowed. Between double quotes a
// backslash makes the next character stand for itself, which is how a quote, a backslash and
// surrounding blanks are kept; \n stands for a line feed. Lines that begin with # and lines without
// "=" are kept as they are and mean nothing. Keys are compared byte by byte and whole ("1" is not
// "10"); of several lines with one key the first counts.
#pragma once

#include "varn/export.h"

extern "C" {

// Reads a value into `out` (at most outSize-1 bytes and a NUL; a longer value is cut).
// Returns the length written when it is not empty, 0 when the key is there with an empty value
// (`out` is then ""), -1 when the key or the file is missing or unreadable, or an argument is null
// or empty (`out` is then "", if there is one).
VARN_EXPORT int VLIBCFileGetKeyValue(const char *file, const char *key, char *out, int outSize);

// Sets one key, keeping every other line; a file that is missing is created (mode 0644). The file
// is replaced whole by rename(2), with the mode and owner it had, so that a reader never sees half
// of it and a failure leaves it as it was; writers at the same time wait for each other, for 30
// seconds at most. A file that the process may not write, that is no regular file or is larger than
// 16 MiB is refused. A key may not be empty, begin with # or contain "=", a line break or blanks at
// its ends. 0 or -1.
VARN_EXPORT int VLIBCFileSetKeyValue(const char *file, const char *key, const char *value);

// Removes every line of one key, in the same way. Removing the last line leaves a file of 0 bytes.
// An absent key or file is a success. 0 or -1.
VARN_EXPORT int VLIBCFileRemoveKey(const char *file, const char *key);

// The same for a file in a folder that others may write to. `folder` is a descriptor of it (O_PATH
// will do) and stays the caller's, `name` a name in it without a slash. Only a regular file is
// edited, never what a symbolic link leads to, and set-id bits do not go over to the new file.
// Another holder of the file's lock is waited for so many milliseconds at most (ETIMEDOUT), not at
// all with 0. Removing the last line removes the file, so that no writer sees it empty. 0 or -1.
VARN_EXPORT int VLIBCFileSetKeyValueAt(int folder, const char *name, const char *key,
                                       const char *value, int milliseconds);
VARN_EXPORT int VLIBCFileRemoveKeyAt(int folder, const char *name, const char *key,
                                     int milliseconds);

}  // extern "C"
