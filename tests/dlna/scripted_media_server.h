// Answers of media servers, and a server that answers a search for them.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include "support/scripted_http.h"

namespace tonvale_test {

// Answers every datagram with some texts.
class ScriptedSsdp {
  public:
    explicit ScriptedSsdp(std::vector<std::string> answers);
    ~ScriptedSsdp() { Stop(); }
    ScriptedSsdp(const ScriptedSsdp &) = delete;
    ScriptedSsdp &operator=(const ScriptedSsdp &) = delete;

    const std::string &address() const { return address_; }
    // Ends the server and returns the last question.
    std::string Stop();

  private:
    void Serve();

    std::vector<std::string> answers_;
    int fd_;
    std::string address_;
    std::string question_;
    std::thread thread_;
};

std::string Found(const std::string &location,
                  const std::string &target = "urn:schemas-upnp-org:service:ContentDirectory:1");

std::string Device(const std::string &name, const std::string &udn, const std::string &inner);
std::string Service(const std::string &type, const std::string &control);
std::string Description(const std::string &device, const std::string &base = "");
std::string Browsed(const std::string &didl);

// The text of an element of a request.
std::string Asked(const HttpRequest &request, const std::string &name);

}  // namespace tonvale_test
