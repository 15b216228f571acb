#include <strings.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <string_view>

#include "data_download/sinks.h"
#include "support/boundary.h"
#include "tonvale/media.h"

namespace Tonvale {

namespace {

constexpr char kSource[] = "audiolib/data_download";

struct ImageType {
    std::string_view contentType;
    std::string_view extension;
};
constexpr std::array kImageTypes = {ImageType{"image/jpeg", "jpg"}, ImageType{"image/png", "png"}};

constexpr std::array<std::string_view, 2> kWebPrefixes = {"http://", "https://"};

// The extension of what a server sent under a type and a name; "" when it is no picture.
std::string_view ExtensionOf(std::string_view contentType, std::string_view fileName) {
    for (const ImageType &type : kImageTypes) {
        if (contentType == type.contentType) {
            return type.extension;
        }
    }
    const std::size_t dot = fileName.rfind('.');
    for (const ImageType &type : kImageTypes) {
        if (dot != fileName.npos && fileName.substr(dot + 1) == type.extension) {
            return type.extension;
        }
    }
    return "";
}

}  // namespace

ImageDownload::ImageDownload(const char *url) noexcept
    : url_(support::Guarded(kSource, std::string(),
                            [&] { return std::string(url != nullptr ? url : ""); })),
      download_(url) {}

bool ImageDownload::IsValidUrlPrefix(const std::string &url) noexcept {
    return std::any_of(kWebPrefixes.begin(), kWebPrefixes.end(), [&](std::string_view prefix) {
        return strncasecmp(url.c_str(), prefix.data(), prefix.size()) == 0;
    });
}

bool ImageDownload::IsImageType() noexcept {
    const std::string_view found = ExtensionOf(download_.ContentType(), download_.FileName());
    extension_ = {};
    std::copy(found.begin(), found.end(), extension_.begin());
    return !found.empty();
}

bool ImageDownload::IsReasonableLength(double length) const noexcept {
    return maxSize_ <= 0 || (length >= 0 && length <= static_cast<double>(maxSize_));
}

bool ImageDownload::Download(const char *path, long maxSize) noexcept {
    extension_ = {};
    maxSize_ = maxSize;
    download_.SetMaxSize(static_cast<int>(std::clamp<long>(maxSize, 0, INT_MAX)));
    if (!IsValidUrlPrefix(url_)) {
        return false;
    }
    if (download_.CurlExec(path) == DataDownload::kSuccess && IsImageType() &&
        IsReasonableLength(download_.ContentLength())) {
        return true;
    }
    extension_ = {};
    if (path != nullptr) {
        download::RemoveRegular(path);
    }
    return false;
}

}  // namespace Tonvale
