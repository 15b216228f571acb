// The one place of this module that calls libcurl.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "varn/curl.h"

namespace Tonvale::download {

// Where the bytes of an answer go.
class Sink {
  public:
    virtual ~Sink() = default;
    // Before every attempt: what an earlier one has brought goes. False when nothing can be kept.
    virtual bool Restart() = 0;
    virtual bool Write(std::string_view bytes) = 0;
};

// How long to wait for a server, and before asking it again.
struct Patience {
    std::chrono::seconds total{120};
    std::chrono::seconds connect{30};
    std::chrono::milliseconds pause{1'000};
};

enum class Outcome { kAnswered, kTooLarge, kFailed, kNotStarted };

// What a server told about an answer.
struct Answer {
    long responseCode = 0;
    double contentLength = -1;  // -1: not announced
    std::string contentType = {};
    std::string effectiveUrl = {};  // after redirects
};

class Transfer {
  public:
    explicit Transfer(const Patience &patience = {}) noexcept;

    // False when libcurl could not be set up.
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    // Fetches a URL. More than `maxSize` bytes (0: any number) are kTooLarge, announced or not.
    // A transfer that times out, or whose name is not resolved, is tried again.
    Outcome Run(const std::string &url, int maxSize, Sink &sink);

    // About the last answer.
    Answer Tell() const;

  private:
    struct Receiver;

    Outcome Attempt(Receiver &receiver, bool &mayRepeat);

    Patience patience_;
    varn::CurlHandle handle_;
};

}  // namespace Tonvale::download
