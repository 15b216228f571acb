// What an HTTP answer says about the version of a file (RFC 9110, 8.8).
#pragma once

#include <sys/stat.h>

#include <string>

namespace tonvale_service {

// Values of the fields ETag (strong, with its quotes) and Last-Modified.
struct Validators {
    std::string etag = {};
    std::string lastModified = {};
};
Validators ValidatorsOf(const struct stat &info);

// A tag for a text.
std::string EtagOf(const std::string &text);

// The fields as lines of an answer's header, without those of empty values.
std::string Lines(const Validators &validators);

// True when a request with these fields If-None-Match and If-Modified-Since ("" for one that is
// absent) is to be answered with 304: the first alone counts where it is there; the second must be
// the very date that Last-Modified told.
bool IsUnchanged(const Validators &now, const std::string &ifNoneMatch,
                 const std::string &ifModifiedSince);

}  // namespace tonvale_service
