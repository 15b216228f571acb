// A speaker on loopback that records what it is asked and answers by a script.
#pragma once

#include "support/scripted_text_server.h"

namespace tonvale_test {

class ScriptedSpeaker {
  public:
    // The answer to the n-th request, n from 0. "CSEQ" in it becomes the request's number; an
    // answer of "" is none at all.
    using Script = std::function<std::string(int n)>;

    enum Manner { kStays, kHangUp };  // after each answer

    explicit ScriptedSpeaker(Script script, Manner manner = kStays)
        : server_(ListenOnLoopback(port_), {"\r\n\r\n", "", manner == kHangUp},
                  [script, n = 0](const std::string &request) mutable {
                      return Numbered(script(n++), request);
                  }) {}
    explicit ScriptedSpeaker(const std::string &answer)
        : ScriptedSpeaker([answer](int) { return answer; }) {}

    std::string Port() const { return std::to_string(port_); }

    // The requests since the last call.
    std::vector<std::string> TakeRequests() { return server_.TakeRequests(); }

  private:
    static std::string Numbered(std::string answer, const std::string &request) {
        const std::size_t at = request.find("CSeq: ") + 6;
        if (const std::size_t place = answer.find("CSEQ"); place != std::string::npos) {
            answer.replace(place, 4, request, at, request.find('\r', at) - at);
        }
        return answer;
    }

    int port_ = 0;
    ScriptedTextServer server_;
};

}  // namespace tonvale_test
