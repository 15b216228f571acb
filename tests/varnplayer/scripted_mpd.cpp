#include "varnplayer/scripted_mpd.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/sockets.h"

namespace tonvale_test {

ScriptedMpd::ScriptedMpd(const std::string &path, Script script)
    : server_(ListenAt(path), {"\n", "OK MPD 0.23.5\n"}, std::move(script)) {}

std::string ScriptedMpd::Usual(const std::string &line) {
    if (line == "status") {
        return "volume: 50\nrepeat: 0\nrandom: 0\nsingle: 0\nplaylistlength: 0\nstate: stop\n"
               "OK\n";
    }
    return line.starts_with("addid ") ? "Id: 7\nOK\n" : "OK\n";
}

int ScriptedMpd::ListenAt(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_TRUE(Bind(fd, LocalAddress(path)));
    EXPECT_EQ(listen(fd, 8), 0);
    EXPECT_EQ(chmod(path.c_str(), 0777), 0);
    return fd;
}

}  // namespace tonvale_test
