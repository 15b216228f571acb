// The control socket's other end.
#pragma once

#include <functional>

#include "commands.h"
#include "signals.h"

namespace varnplayer {

// Answers the clients of a listening socket until the program is asked to end; what is left to add
// to the queue is added meanwhile. Clients are listened to at once and their commands done one
// after the other; each gets two seconds for its message and as many for taking the answer. Throws
// what `check` throws, which is called whenever a signal has come.
void Serve(int listener, const Signals &signals, const std::function<void()> &check,
           Player &player);

}  // namespace varnplayer
