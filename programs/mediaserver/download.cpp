#include "mediaserver/download.h"

#include <curl/curl.h>

#include <memory>

namespace mediaserver {

namespace {

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
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> owner(curl_easy_init(),
                                                                    curl_easy_cleanup);
    CURL *handle = owner.get();
    if (handle == nullptr) {
        download.problem = "no memory";
        return download;
    }
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, kMostMilliseconds);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &download.body);
    const CURLcode result = curl_easy_perform(handle);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (result == CURLE_WRITE_ERROR) {
        download.problem = "more than a mebibyte";
    } else if (result != CURLE_OK) {
        download.problem = curl_easy_strerror(result);
    } else if (status != kOk) {
        download.problem = "status " + std::to_string(status);
    }
    return download;
}

std::string TransferProblem(int result) {
    return result > 0 ? curl_easy_strerror(static_cast<CURLcode>(result)) : "no memory";
}

std::optional<std::string> Resolve(const std::string &base, const std::string &reference) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
    char *part = nullptr;
    if (!url || curl_url_set(url.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK ||
        (!reference.empty() &&
         curl_url_set(url.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK) ||
        curl_url_get(url.get(), CURLUPART_URL, &part, 0) != CURLUE_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(part, curl_free);
    const std::string address = part;
    if (!address.starts_with("http://") && !address.starts_with("https://")) {
        return std::nullopt;
    }
    return address;
}

}  // namespace mediaserver
