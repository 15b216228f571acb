// RTSP requests to a speaker, over libcurl.
#pragma once

#include <string>

#include "airplay_password/challenge.h"
#include "varn/curl.h"

namespace Tonvale::airplay {

// A connection to one speaker. Requests of one client go out over one connection where the speaker
// keeps it open.
class RtspClient {
  public:
    RtspClient(const std::string &host, const std::string &port);

    // False when there is no such client, which is logged.
    explicit operator bool() const { return handle_ != nullptr; }

    // Sends OPTIONS, with one more header line unless that is "", and returns the status code of
    // the answer, or 0 after a failure, which is logged. Takes 5 seconds at most. What the headers
    // ask for goes into `challenge`.
    int Options(const std::string &headerLine, Challenge &challenge);

  private:
    bool Prepare(Challenge &challenge);
    bool AddHeader(const std::string &line);
    int Perform();

    std::string url_;
    varn::CurlHandle handle_;
    varn::CurlList list_;
};

}  // namespace Tonvale::airplay
