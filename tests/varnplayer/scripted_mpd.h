// Stands for a music player daemon on a local socket: records the lines that it is sent, and
// answers by a script, for what no real daemon does on demand.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/scripted_text_server.h"

namespace tonvale_test {

class ScriptedMpd {
  public:
    // The answer to a line, which is passed without its end.
    using Script = ScriptedTextServer::Script;
    static constexpr auto kHangUp = ScriptedTextServer::kHangUp;

    ScriptedMpd(const std::string &path, Script script);

    std::vector<std::string> Lines() const { return server_.Requests(); }

    // The answer to most commands.
    static std::string Usual(const std::string &line);

  private:
    static int ListenAt(const std::string &path);

    ScriptedTextServer server_;
};

}  // namespace tonvale_test
