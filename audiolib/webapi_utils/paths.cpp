#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "support/boundary.h"
#include "support/log.h"
#include "support/remote_path.h"
#include "tonvale/paths.h"
#include "tonvale/webapi.h"
#include "varn/crypt.h"
#include "varn/path.h"
#include "varn/share.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::support::IsRemotePath;
using Tonvale::webapi_utils::kSource;

using varn::PathBuffer;

void WriteSharePath(const char *volPath, char *out, std::size_t size) {
    if (IsRemotePath(volPath)) {
        std::snprintf(out, size, "%s", volPath);
        return;
    }
    PathBuffer name = {};
    PathBuffer base = {};
    if (VARNShareNamePathGet(volPath, name.data(), name.size(), base.data(), base.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get share path of [%s]", volPath);
        name[0] = '\0';
        base[0] = '\0';
    }
    std::snprintf(out, size, "/%s%s", name.data(), volPath + std::strlen(base.data()));
}

// The alphabet of URLs and file names back to the standard one (RFC 4648, section 5).
std::string StandardBase64(std::string text) {
    for (char &c : text) {
        c = c == '-' ? '+' : c == '_' ? '/' : c;
    }
    return text;
}

std::string FullPath(const std::string &encoded, const std::string &userName) {
    std::vector<unsigned char> decoded;
    try {
        decoded.resize((encoded.size() + 3) / 4 * 3 + 1);
    } catch (const std::bad_alloc &) {
        LOG_ERROR(kSource, "Failed to malloc.");
        return "";
    }
    const char *text = reinterpret_cast<const char *>(decoded.data());
    const std::string standard = StandardBase64(encoded);
    std::size_t length = 0;
    if (VLIBCBase64Decode(standard.c_str(), decoded.data(), decoded.size() - 1, &length) != 0) {
        LOG_ERROR(kSource, "failed to do base64 decode of string: %s to %s len %zd",
                  standard.c_str(), text, static_cast<ssize_t>(length));
        return "";
    }
    decoded[length] = '\0';
    std::string full, share, volume, shareVolPath;
    if (!AudioFile::FullPathGet(text, full, share, volume, shareVolPath, userName)) {
        LOG_ERROR(kSource, "Failed to get full path from [%s].", text);
        return "";
    }
    return full;
}

}  // namespace

int VARNAudioWebapiUtilsGetSharePathByVolPath(const char *volPath, char *out,
                                              size_t size) noexcept {
    if (volPath == nullptr || out == nullptr || size == 0) {
        return 0;
    }
    return Guarded(kSource, 0, [&] {
        WriteSharePath(volPath, out, size);
        return 1;
    });
}

std::string VARNAudioWebapiUtilsGetFileName(const std::string &path, bool cutExtension) noexcept {
    return Guarded(kSource, std::string(), [&] {
        const std::size_t slash = path.rfind('/');
        const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
        const std::size_t dot = path.rfind('.');
        // A hidden file's dot counts as an extension's only after a slash.
        if (cutExtension && dot != std::string::npos && dot >= start && dot > 0) {
            return path.substr(start, dot - start);
        }
        return path.substr(start);
    });
}

std::string VARNAudioWebapiUtilsGetFileExt(const std::string &path) noexcept {
    return Guarded(kSource, std::string(), [&] {
        const std::size_t dot = path.rfind('.');
        return dot == std::string::npos ? "" : path.substr(dot + 1);
    });
}

std::string VARNAudioWebapiUtilsGetStringFromFloat(float number) noexcept {
    return Guarded(kSource, std::string(), [&] {
        constexpr int kSignificantDigits = 6;
        std::array<char, 32> text;
        const auto end = std::to_chars(text.begin(), text.end(), number, std::chars_format::general,
                                       kSignificantDigits);
        return std::string(text.begin(), end.ptr);
    });
}

std::string VARNAudioGetFullPathFromEncSong(const std::string &encoded,
                                            const std::string &userName) noexcept {
    return Guarded(kSource, std::string(), [&] { return FullPath(encoded, userName); });
}

namespace Tonvale {

UrlParser::UrlParser(const std::string &url) noexcept {
    Guarded(kSource, [&] {
        if (!WebUtils::ParseURL(url, scheme, host, path)) {
            LOG_ERROR(kSource, "Failed to parse url [%s].", url.c_str());
        }
    });
}

}  // namespace Tonvale
