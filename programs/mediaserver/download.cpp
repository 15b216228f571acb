#include "mediaserver/download.h"

#include <curl/curl.h>

#include <exception>
#include <memory>

#include "varn/late_library.h"

namespace mediaserver {

namespace {

// Loaded when something is first fetched: most runs of a program never do.
struct Libcurl : varn::LateLibrary {
    Libcurl() noexcept : LateLibrary("libcurl.so.4") {}

    decltype(&::curl_easy_init) easy_init = Find("curl_easy_init");
    decltype(&::curl_easy_setopt) easy_setopt = Find("curl_easy_setopt");
    decltype(&::curl_easy_perform) easy_perform = Find("curl_easy_perform");
    decltype(&::curl_easy_getinfo) easy_getinfo = Find("curl_easy_getinfo");
    decltype(&::curl_easy_strerror) easy_strerror = Find("curl_easy_strerror");
    decltype(&::curl_easy_cleanup) easy_cleanup = Find("curl_easy_cleanup");
    decltype(&::curl_url) url = Find("curl_url");
    decltype(&::curl_url_set) url_set = Find("curl_url_set");
    decltype(&::curl_url_get) url_get = Find("curl_url_get");
    decltype(&::curl_url_cleanup) url_cleanup = Find("curl_url_cleanup");
    decltype(&::curl_free) free = Find("curl_free");
};

const Libcurl &Curl() {
    static const Libcurl library;
    return library;
}

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
    const std::unique_ptr<CURL, decltype(Curl().easy_cleanup)> owner(Curl().easy_init(),
                                                                     Curl().easy_cleanup);
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
