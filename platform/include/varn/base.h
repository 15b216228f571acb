// Strings, string lists, string hashes and the error state of the platform's base library.
//
// Nothing here throws. A failing call sets the error state, which callers append to their log lines
// as "[0x%04X %s:%d]". All text is bytes; none of these calls changes or checks an encoding.
#pragma once

#include <cstddef>

#include "varn/export.h"

extern "C" {

// ---- error state -------------------------------------------------------------------------------

// Codes of the error state.
enum VLIB_ERROR {
    VLIB_ERR_NONE = 0,
    VLIB_ERR_BAD_PARAMETER = 0x0D00,  // a null or empty argument, or one out of range
    VLIB_ERR_OUT_OF_MEMORY = 0x0200,
    VLIB_ERR_TOO_LONG = 0x0300,    // the caller's buffer is too small
    VLIB_ERR_NOT_FOUND = 0x0700,   // no such key, user, share or row
    VLIB_ERR_SYSTEM = 0x0900,      // a system call failed, errno tells why
    VLIB_ERR_PERMISSION = 0x0A00,  // the process may not do that
    VLIB_ERR_DATABASE = 0x0B00,    // the database refused; VARNDBErrorGet tells why
};

// The code, source path and line of the last failure in this thread; VLIB_ERR_NONE, "" and 0
// before the first one. A success does not reset them.
VARN_EXPORT int VLIBCErrGet(void);
VARN_EXPORT const char *VLIBCErrFile(void);
VARN_EXPORT int VLIBCErrLine(void);

// Sets the error state. `file` must live as long as the process (a string literal, __FILE__).
VARN_EXPORT void VLIBCErrSetEx(int code, const char *file, int line);

// ---- string lists ------------------------------------------------------------------------------

// A growable list of strings, in the order in which they were pushed. `nItem` is the number of
// entries, for reading only.
typedef struct _VLIBSZLIST {
    int nItem;
} VLIBSZLIST, *PVLIBSZLIST;

// A new, empty list; null when memory is short. `initBytes` is a hint of the text to come, in
// bytes, and may be 0. Released with VLIBCSzListFree, which accepts null.
VARN_EXPORT PVLIBSZLIST VLIBCSzListAlloc(int initBytes);
VARN_EXPORT void VLIBCSzListFree(PVLIBSZLIST list);

// Appends a copy of `text`. Returns the new number of entries, or -1 with the list unchanged.
VARN_EXPORT int VLIBCSzListPush(PVLIBSZLIST *list, const char *text);

// Entry `index`, owned by the list and valid until the list changes; null when out of range.
VARN_EXPORT const char *VLIBCSzListGet(const VLIBSZLIST *list, int index);

// Sorts by byte values (strcmp), equal entries keeping their order. 0, or -1 for a null list.
VARN_EXPORT int VLIBCSzListSort(PVLIBSZLIST list);

// Index of the first entry equal to `text`, or -1. Takes time logarithmic in the number of entries
// once the list has been sorted and not pushed to since, linear otherwise.
VARN_EXPORT int VLIBCSzListFind(const VLIBSZLIST *list, const char *text);

// Splits `text` at every character of `delims` and appends the tokens to *out; empty tokens are
// left out, so "/music/a" gives "music" and "a", and "/" gives none. Returns the number of tokens
// of this call, or -1 (null argument, memory), with *out unchanged.
VARN_EXPORT int VLIBCStrTok(const char *text, const char *delims, PVLIBSZLIST *out);

// ---- string hashes -----------------------------------------------------------------------------

typedef struct _VLIBSZHASH VLIBSZHASH, *PVLIBSZHASH;

// A new, empty map from string to string; null when memory is short. `capacity` is the number of
// entries to make room for and may be 0; the map grows beyond it. Released with VLIBCSzHashFree,
// which accepts null.
VARN_EXPORT PVLIBSZHASH VLIBCSzHashAlloc(int capacity);
VARN_EXPORT void VLIBCSzHashFree(PVLIBSZHASH hash);

// Stores copies of both texts, replacing an older value of `key`. 0, or -1 with the map unchanged.
VARN_EXPORT int VLIBCSzHashSetValue(PVLIBSZHASH *hash, const char *key, const char *value);

// The value of `key`, owned by the map and valid until that key is set again; null when absent.
VARN_EXPORT const char *VLIBCSzHashGetValue(const VLIBSZHASH *hash, const char *key);

// ---- strings -----------------------------------------------------------------------------------

// printf(3) into newly allocated memory of any length. Null, with the error state set, on failure.
// Released with VLIBCStrPut, which accepts null.
VARN_EXPORT char *VLIBCStrGet(const char *format, ...) __attribute__((format(printf, 1, 2)));
VARN_EXPORT void VLIBCStrPut(char *text);

// Removes white space (isspace(3) in the C locale) from both ends, in place. Returns `text`, or
// null for a null argument.
VARN_EXPORT char *VLIBCStrTrimSpace(char *text);

// ---- code page ---------------------------------------------------------------------------------

// Writes the number of the code page that a selector names; the only one is 1, the system's: the
// key "codepage" of "/etc/varninfo.conf", 0 (Unicode) without it. 0, or -1 with *codePage unchanged
// (another selector, null, a value that is not a number from 0 to 65535).
VARN_EXPORT int VLIBCCodePageGet(int selector, int *codePage);

static inline bool NonEmptyStr(const char *text) {
    return text != nullptr && *text != '\0';
}

}  // extern "C"
