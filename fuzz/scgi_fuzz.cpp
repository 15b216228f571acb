// Any bytes from a web server: variables that an environment can hold, or nothing.
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "entry/scgi.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    int ends[2];
    if (size > 65536 || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return 0;
    }
    const varn::UniqueFd server(ends[0]);
    const varn::UniqueFd worker(ends[1]);
    send(server.Get(), data, size, MSG_DONTWAIT);
    shutdown(server.Get(), SHUT_WR);
    const auto request = tonvale_entry::ReadScgi(worker.Get(), std::chrono::seconds(1));
    Require(!request || (request->body && !request->variables.empty()), "a request is whole");
    if (request) {
        for (const std::string &variable : request->variables) {
            const std::size_t equals = variable.find('=');
            Require(equals > 0 && equals != variable.npos && variable.find('\0') == variable.npos,
                    "a variable has a name and a value");
        }
    }
    return 0;
}
