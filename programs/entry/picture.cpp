#include "picture.h"

#include <cstdio>
#include <string>
#include <utility>

#include "default_cover.h"
#include "request.h"
#include "rights.h"
#include "service/base/validators.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Picture;
using tonvale_service::Validators;

// A cover changes seldom; after this time it is asked for again, and mostly answered with 304.
constexpr char kCacheFor[] = "Cache-Control: private, max-age=300\r\n";
constexpr char kCacheNever[] = "Cache-Control: no-store\r\n";

bool Write(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

// True when the picture is to follow.
bool SendHeader(const Validators &validators, std::string_view type, std::size_t size,
                const std::string &more, bool headerOnly) {
    const bool unchanged = tonvale_service::IsUnchanged(validators, Variable("HTTP_IF_NONE_MATCH"),
                                                        Variable("HTTP_IF_MODIFIED_SINCE"));
    const std::string about = unchanged
                                  ? "Status: 304 Not Modified\r\n"
                                  : "Status: 200 OK\r\nContent-Type: " + std::string(type) +
                                        "\r\nContent-Length: " + std::to_string(size) + "\r\n";
    const char *cache = validators.etag.empty() ? kCacheNever : kCacheFor;
    Write(about + tonvale_service::Lines(validators) + cache + more +
          "X-Content-Type-Options: nosniff\r\n\r\n");
    return !unchanged && !headerOnly;
}

bool Send(const Picture &picture, const Validators &validators, bool headerOnly) {
    GiveUpRights();  // the picture is open
    const auto size = static_cast<std::size_t>(picture.info.st_size);
    const bool follows = SendHeader(validators, picture.type, size, "", headerOnly);
    return (!follows || tonvale_service::CopyPicture(picture, Write)) && std::fflush(stdout) == 0;
}

}  // namespace

bool SendPicture(const Picture &picture, bool headerOnly) {
    return Send(picture, tonvale_service::ValidatorsOf(picture.info), headerOnly);
}

bool SendFetchedPicture(const Picture &picture, bool headerOnly) {
    return Send(picture, {}, headerOnly);
}

bool SendDefaultPicture(bool headerOnly) {
    const bool follows = SendHeader({kDefaultCoverTag, ""}, "image/svg+xml", kDefaultCover.size(),
                                    "Content-Security-Policy: default-src 'none'\r\n", headerOnly);
    return (!follows || Write(kDefaultCover)) && std::fflush(stdout) == 0;
}

}  // namespace tonvale_entry
