// A music player daemon of this program's own.
#pragma once

#include <cstdio>
#include <string>

namespace varnplayer {

// Runs one below the root, reachable through a local socket only, for as long as the object lives.
class Engine {
  public:
    // `output` is the type of its output: "alsa", "pulse", "null" ... Throws Refused when it does
    // not come up.
    explicit Engine(const std::string &output);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // The local socket.
    const std::string &Address() const { return socket_; }

  private:
    void WaitUntilItAnswers() const;
    void End();

    std::string socket_;
    std::FILE *process_ = nullptr;
};

}  // namespace varnplayer
