#include "server.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

#include "tonvale/players.h"
#include "varn/player.h"

namespace varnplayer {

namespace {

constexpr timeval kPatience = {2, 0};

void SendAll(int client, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = send(client, text.data(), text.size(), MSG_NOSIGNAL);
        if (put <= 0) {
            return;  // it has had enough, or went away
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
}

void Talk(int client, Player &player) {
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        setsockopt(client, SOL_SOCKET, option, &kPatience, sizeof kPatience);
    }
    VARN_AUDIO_CTRL_MSG message = {};
    if (recv(client, &message, sizeof message, MSG_WAITALL) !=
        static_cast<ssize_t>(sizeof message)) {
        syslog(LOG_NOTICE, "a client went away before its message was there");
        return;
    }
    const std::string payload(message.payload, strnlen(message.payload, sizeof message.payload));
    SendAll(client, Execute(player, message.command, payload));
}

}  // namespace

Descriptor::~Descriptor() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

int EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

void Serve(int listener, int endSignals, Player &player) {
    for (;;) {
        pollfd entries[] = {{listener, POLLIN, 0}, {endSignals, POLLIN, 0}};
        if (poll(entries, std::size(entries), -1) < 0 && errno != EINTR) {
            syslog(LOG_ERR, "cannot wait for clients: %m");
            return;
        }
        if (entries[1].revents != 0) {
            return;
        }
        const Descriptor client(SocketAccept(listener));
        if (client.Get() >= 0) {
            Talk(client.Get(), player);
        }
    }
}

}  // namespace varnplayer
