// libcurl, which comes with some thirty other libraries and which most processes never call: it is
// loaded when something is first fetched.
#pragma once

#include <curl/curl.h>

#include <memory>

#include "varn/late_library.h"

namespace varn {

struct CurlLibrary : varn::LateLibrary {
    CurlLibrary() noexcept : LateLibrary("libcurl.so.4") {}

    decltype(&::curl_easy_init) easy_init = Find("curl_easy_init");
    decltype(&::curl_easy_setopt) easy_setopt = Find("curl_easy_setopt");
    decltype(&::curl_easy_perform) easy_perform = Find("curl_easy_perform");
    decltype(&::curl_easy_getinfo) easy_getinfo = Find("curl_easy_getinfo");
    decltype(&::curl_easy_strerror) easy_strerror = Find("curl_easy_strerror");
    decltype(&::curl_easy_cleanup) easy_cleanup = Find("curl_easy_cleanup");
    decltype(&::curl_slist_append) slist_append = Find("curl_slist_append");
    decltype(&::curl_slist_free_all) slist_free_all = Find("curl_slist_free_all");
    decltype(&::curl_url) url = Find("curl_url");
    decltype(&::curl_url_set) url_set = Find("curl_url_set");
    decltype(&::curl_url_get) url_get = Find("curl_url_get");
    decltype(&::curl_url_cleanup) url_cleanup = Find("curl_url_cleanup");
    decltype(&::curl_free) free = Find("curl_free");
};

// Loads the library the first time.
inline const CurlLibrary &Curl() noexcept {
    static const CurlLibrary library;
    return library;
}

struct CurlCleanup {
    void operator()(CURL *handle) const noexcept { Curl().easy_cleanup(handle); }
};

// A transfer. Null without libcurl, and without memory.
using CurlHandle = std::unique_ptr<CURL, CurlCleanup>;
inline CurlHandle NewCurlHandle() noexcept {
    return CurlHandle(Curl() ? Curl().easy_init() : nullptr);
}

struct CurlListFree {
    void operator()(curl_slist *list) const noexcept { Curl().slist_free_all(list); }
};

// Lines of a request's header.
using CurlList = std::unique_ptr<curl_slist, CurlListFree>;

}  // namespace varn
