// How a client's connection comes to the process that tells all listeners of events.
//
// A worker that knows who asks sends the connection over a local datagram socket, and is done with
// it. Only the package's account and root can open the socket.
#pragma once

#include <optional>

#include "service/people/sign_in.h"
#include "varn/descriptor.h"

namespace tonvale_service {

// Hands over a connection on which nothing was written yet. The caller closes its own descriptor,
// and the other process writes the whole answer, also a refusal. Waits at most a second. Throws a
// Failure: kEventsAway if no process takes it.
void HandOver(Proof proof, const Holder &who, int connection);

// The socket of the process that takes connections. Throws std::system_error.
varn::UniqueFd OpenEventSocket();

struct Handed {
    Proof proof;
    Holder who;
    varn::UniqueFd connection;
};

// The next connection that was handed over; nothing when there is none. Other messages are passed
// over.
std::optional<Handed> TakeHanded(int socket);

}  // namespace tonvale_service
