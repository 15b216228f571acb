#include <strings.h>

#include <algorithm>

#include "sharing/address.h"
#include "sharing/sharing.h"
#include "support/boundary.h"
#include "tonvale/paths.h"
#include "tonvale/sharing.h"
#include "varn/crypt.h"
#include "varn/keyfile.h"
#include "varn/systempath.h"

namespace Tonvale {

namespace {

using sharing::Environment;
using sharing::kSource;
using support::Guarded;

bool IsHttps() {
    return strcasecmp(Environment("HTTPS").c_str(), "on") == 0;
}

// The port that the administrator says the outside sees; "" for none.
std::string ConfiguredPort(bool https) {
    char port[16] = "";
    VLIBCFileGetKeyValue(SystemPath(varn::path::kSystemInfo).c_str(),
                         https ? "external_port_kos_https" : "external_port_kos_http", port,
                         sizeof(port));
    return port;
}

std::string Port(const parsed_url &request) {
    const std::string configured = ConfiguredPort(IsHttps());
    if (!configured.empty()) {
        return configured;
    }
    return request.port.empty() ? Environment("SERVER_PORT") : request.port;
}

// One line of base64 in the alphabet for URLs (RFC 4648, section 5), padded.
std::string EncodedForUrl(const std::string &text) {
    std::string encoded((text.size() + 2) / 3 * 4 + 1, '\0');
    if (VLIBCBase64SzEncodeOneLine(text.c_str(), encoded.data(), encoded.size()) != 0) {
        return "";
    }
    encoded.pop_back();
    std::replace(encoded.begin(), encoded.end(), '+', '-');
    std::replace(encoded.begin(), encoded.end(), '/', '_');
    return encoded;
}

}  // namespace

std::string SharingManager::GetRemoteAddr() noexcept {
    return Guarded(kSource, std::string(), [&] {
        const Json::Value relay = sharing::RelayInfo();
        if (!remoteAddr_.empty()) {
            return remoteAddr_;
        }
        const parsed_url request = sharing::ParseHostHeader(Environment("HTTP_HOST"));
        const std::string host = sharing::ChooseHost(request.host, relay);
        // The relay answers on its own port and serves the portal at its root.
        if (sharing::IsRelayHost(host, relay)) {
            remoteAddr_ = "https://" + host;
            return remoteAddr_;
        }
        const std::string port = Port(request);
        remoteAddr_ = (IsHttps() ? "https://" : "http://") + host +
                      (port.empty() ? "" : ":" + port) + GetPortalPrefix();
        return remoteAddr_;
    });
}

std::string SharingManager::GetPortalPrefix() noexcept {
    return Guarded(kSource, std::string(), [&] {
        const std::string uri = Environment("REQUEST_URI");
        return uri.substr(0, uri.find("/webapi"));
    });
}

std::string SharingManager::GetUrl(const std::string &id) noexcept {
    return Guarded(kSource, std::string(),
                   [&] { return id.empty() ? std::string() : GetRemoteAddr() + URL_PATTERN + id; });
}

std::string SharingManager::GetUrl(const std::string &id, const std::string &path) noexcept {
    return Guarded(kSource, std::string(), [&] {
        if (id.empty() || path.empty()) {
            return std::string();
        }
        const std::string sharePath = AudioFile::GetSharePathByVolPath(path.c_str());
        return GetRemoteAddr() + URL_PATTERN + id + "/" + EncodedForUrl(sharePath);
    });
}

}  // namespace Tonvale
