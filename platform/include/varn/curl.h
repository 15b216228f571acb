// libcurl, which comes with some thirty other libraries and which most processes never call: it is
// loaded when something is first fetched.
#pragma once

#include <curl/curl.h>

#include "varn/late_library.h"

namespace Tonvale::support {

struct CurlLibrary : varn::LateLibrary {
    CurlLibrary() noexcept : LateLibrary("libcurl.so.4") {}

    decltype(&::curl_global_init) global_init = Find("curl_global_init");
    decltype(&::curl_global_cleanup) global_cleanup = Find("curl_global_cleanup");
    decltype(&::curl_easy_init) easy_init = Find("curl_easy_init");
    decltype(&::curl_easy_setopt) easy_setopt = Find("curl_easy_setopt");
    decltype(&::curl_easy_perform) easy_perform = Find("curl_easy_perform");
    decltype(&::curl_easy_getinfo) easy_getinfo = Find("curl_easy_getinfo");
    decltype(&::curl_easy_cleanup) easy_cleanup = Find("curl_easy_cleanup");
    decltype(&::curl_slist_append) slist_append = Find("curl_slist_append");
    decltype(&::curl_slist_free_all) slist_free_all = Find("curl_slist_free_all");
};

// Loads the library the first time.
const CurlLibrary &Curl() noexcept;

// Whether there is a library to call, which is logged when there is none. Whoever holds a handle or
// a list of the library need not ask.
bool HasCurl() noexcept;

}  // namespace Tonvale::support
