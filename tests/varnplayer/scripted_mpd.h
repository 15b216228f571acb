// Stands for a music player daemon on a local socket: records the lines that it is sent, and
// answers by a script, for what no real daemon does on demand.
#pragma once

#include <sys/stat.h>

#include "support/scripted_text_server.h"

namespace tonvale_test {

class ScriptedMpd {
  public:
    // The answer to a line, which is passed without its end.
    using Script = ScriptedTextServer::Script;
    static constexpr auto kHangUp = ScriptedTextServer::kHangUp;

    ScriptedMpd(const std::string &path, Script script)
        : server_(ListenAt(path), {"\n", "OK MPD 0.23.5\n"}, std::move(script)) {}

    std::vector<std::string> Lines() const { return server_.Requests(); }

    // The answer to most commands.
    static std::string Usual(const std::string &line) {
        if (line == "status") {
            return "volume: 50\nrepeat: 0\nrandom: 0\nsingle: 0\nplaylistlength: 0\nstate: stop\n"
                   "OK\n";
        }
        return line.starts_with("addid ") ? "Id: 7\nOK\n" : "OK\n";
    }

  private:
    static int ListenAt(const std::string &path) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_TRUE(Bind(fd, LocalAddress(path)));
        EXPECT_EQ(listen(fd, 8), 0);
        EXPECT_EQ(chmod(path.c_str(), 0777), 0);
        return fd;
    }

    ScriptedTextServer server_;
};

}  // namespace tonvale_test
