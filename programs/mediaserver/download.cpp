#include "mediaserver/download.h"

#include <exception>
#include <memory>

#include "varn/curl.h"

namespace mediaserver {

namespace {

using varn::Curl;

constexpr std::size_t kMostBytes = 1 << 20;
constexpr long kMostMilliseconds = 3000;
constexpr long kOk = 200;

// A result of 0 stops the transfer.
std::size_t Append(char *data, std::size_t size, std::size_t count, void *context) noexcept {
    auto &body = *static_cast<std::string *>(context);
    if (body.size() + size * count > kMostBytes) {
        return 0;
    }
    try {
        body.append(data, size * count);
    } catch (const std::exception &) {
        return 0;
    }
    return size * count;
}

}  // namespace

Download Get(const std::string &url) {
    Download download;
    if (!Curl()) {
        download.problem = Curl().Problem();
        return download;
    }
    const varn::CurlHandle owner = varn::NewCurlHandle();
    CURL *handle = owner.get();
    if (handle == nullptr) {
        download.problem = "no memory";
        return download;
    }
    Curl().easy_setopt(handle, CURLOPT_URL, url.c_str());
    Curl().easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
    Curl().easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    Curl().easy_setopt(handle, CURLOPT_TIMEOUT_MS, kMostMilliseconds);
    Curl().easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
    Curl().easy_setopt(handle, CURLOPT_WRITEDATA, &download.body);
    const CURLcode result = Curl().easy_perform(handle);
    long status = 0;
    Curl().easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (result == CURLE_WRITE_ERROR) {
        download.problem = "more than a mebibyte";
    } else if (result != CURLE_OK) {
        download.problem = Curl().easy_strerror(result);
    } else if (status != kOk) {
        download.problem = "status " + std::to_string(status);
    }
    return download;
}

std::string TransferProblem(int result) {
    if (!Curl()) {
        return Curl().Problem();
    }
    return result > 0 ? Curl().easy_strerror(static_cast<CURLcode>(result)) : "no memory";
}

std::optional<std::string> Resolve(const std::string &base, const std::string &reference) {
    if (!Curl()) {
        return std::nullopt;
    }
    const std::unique_ptr<CURLU, decltype(Curl().url_cleanup)> url(Curl().url(),
                                                                   Curl().url_cleanup);
    char *part = nullptr;
    if (!url || Curl().url_set(url.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK ||
        (!reference.empty() &&
         Curl().url_set(url.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK) ||
        Curl().url_get(url.get(), CURLUPART_URL, &part, 0) != CURLUE_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(Curl().free)> owner(part, Curl().free);
    const std::string address = part;
    if (!address.starts_with("http://") && !address.starts_with("https://")) {
        return std::nullopt;
    }
    return address;
}

}  // namespace mediaserver
