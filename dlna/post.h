// The one place of this module that calls libcurl.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tonvale/dlna.h"
#include "varn/curl.h"

namespace Tonvale::dlna {

using HeaderList = std::unique_ptr<curl_slist, HeaderListFree>;

// Appends a line; without memory, or libcurl, the list stays as it was.
void AddLine(HeaderList &list, const std::string &line) noexcept;

// A POST request.
class Post {
  public:
    Post() noexcept;

    // False when there is no memory for a request, or no libcurl.
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    // The most seconds that Send takes, and the most bytes that it appends; 0 for any number.
    void SetBounds(int seconds, std::size_t bytes) noexcept;

    // Sends `body` and appends what comes back to `answer`, which must outlive the call like all
    // other arguments. Returns libcurl's result.
    int Send(const std::string &url, const HeaderList &headers, std::string_view body,
             std::string &answer) noexcept;

  private:
    varn::CurlHandle handle_;
    std::size_t mostBytes_ = 0;
};

}  // namespace Tonvale::dlna
