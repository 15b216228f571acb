// A player daemon that records what it is sent and answers by a script.
#pragma once

#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "varn/systempath.h"

namespace tonvale_test {

class ScriptedDaemon {
  public:
    // What to do with a client whose message has been read; the connection is closed afterwards.
    using Script = std::function<void(int client)>;

    explicit ScriptedDaemon(Script script);
    // Answers everything with a text.
    explicit ScriptedDaemon(const std::string &answer);
    ~ScriptedDaemon();
    ScriptedDaemon(const ScriptedDaemon &) = delete;
    ScriptedDaemon &operator=(const ScriptedDaemon &) = delete;

    static bool Say(int client, const std::string &text);

    // The messages since the last call, one for each client.
    std::vector<std::string> TakeMessages();

    bool IsStopping() const { return stop_; }

  private:
    void Serve();
    void Talk(int client);

    Script script_;
    int listener_;
    std::mutex mutex_;
    std::vector<std::string> messages_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test
