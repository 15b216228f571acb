#include "airplay_password/rtsp.h"

#include "airplay_password/source.h"
#include "support/boundary.h"
#include "support/curl.h"
#include "support/log.h"

namespace Tonvale::airplay {

namespace {

using support::Curl;

constexpr long kTimeoutSeconds = 5;

std::size_t OnHeader(char *line, std::size_t size, std::size_t count, void *challenge) noexcept {
    return support::Guarded(kSource, size * count, [&] {
        ReadHeader({line, size * count}, *static_cast<Challenge *>(challenge));
        return size * count;
    });
}

// Without this libcurl would write an answer's body to the standard output.
std::size_t Discard(char *, std::size_t size, std::size_t count, void *) noexcept {
    return size * count;
}

}  // namespace

RtspClient::RtspClient(const std::string &host, const std::string &port)
    : url_("rtsp://" + host + ":" + port), handle_(support::NewCurlHandle()) {
    if (!handle_) {
        LOG_ERROR(kSource, "Failed to init curl.");
    }
}

bool RtspClient::Prepare(Challenge &challenge) {
    CURLcode code = Curl().easy_setopt(handle_.get(), CURLOPT_URL, url_.c_str());
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to set curl url, code=%d, [%s]", code, url_.c_str());
        return false;
    }
    code = Curl().easy_setopt(handle_.get(), CURLOPT_HEADERFUNCTION, OnHeader);
    if (code == CURLE_OK) {
        code = Curl().easy_setopt(handle_.get(), CURLOPT_HEADERDATA, &challenge);
    }
    if (code == CURLE_OK) {
        code = Curl().easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, Discard);
    }
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to set head function, code=%d", code);
        return false;
    }
    return true;
}

bool RtspClient::AddHeader(const std::string &line) {
    list_.reset(Curl().slist_append(nullptr, line.c_str()));
    if (!list_) {
        LOG_ERROR(kSource, "Failed to set append curl slist, code=%d", CURLE_OUT_OF_MEMORY);
        return false;
    }
    const CURLcode code = Curl().easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, list_.get());
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to set http header, code=%d", code);
        return false;
    }
    return true;
}

int RtspClient::Perform() {
    CURLcode code = Curl().easy_setopt(handle_.get(), CURLOPT_NOSIGNAL, 1L);
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to set curl NOSIGNAL, code=%d", code);
        return 0;
    }
    Curl().easy_setopt(handle_.get(), CURLOPT_CONNECTTIMEOUT, kTimeoutSeconds);
    Curl().easy_setopt(handle_.get(), CURLOPT_TIMEOUT, kTimeoutSeconds);
    // Otherwise libcurl joins the resolver's thread, and a silent name server takes longer.
    Curl().easy_setopt(handle_.get(), CURLOPT_QUICK_EXIT, 1L);
    // A speaker stands in this network, whatever proxy the environment names for others.
    Curl().easy_setopt(handle_.get(), CURLOPT_PROXY, "");
    code = Curl().easy_perform(handle_.get());
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to curl_easy_perform, code=%d, url[%s]", code, url_.c_str());
        return 0;
    }
    long status = 0;
    code = Curl().easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    if (code != CURLE_OK) {
        LOG_ERROR(kSource, "Failed to curl_easy_getinfo, code=%d", code);
        return 0;
    }
    return static_cast<int>(status);
}

int RtspClient::Options(const std::string &headerLine, Challenge &challenge) {
    if (!Prepare(challenge) || (!headerLine.empty() && !AddHeader(headerLine))) {
        return 0;
    }
    const int status = Perform();
    Curl().easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, nullptr);
    list_.reset();
    return status;
}

}  // namespace Tonvale::airplay
