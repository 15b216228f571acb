// Answers of media servers, and a server that answers a search for them.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/scripted_http.h"
#include "support/sockets.h"

namespace tonvale_test {

// Answers every datagram with some texts.
class ScriptedSsdp {
  public:
    explicit ScriptedSsdp(std::vector<std::string> answers)
        : answers_(std::move(answers)), fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        address_ = "127.0.0.1:" + std::to_string(BindToLoopback(fd_));
        thread_ = std::thread([this] { Serve(); });
    }
    ~ScriptedSsdp() { Stop(); }
    ScriptedSsdp(const ScriptedSsdp &) = delete;
    ScriptedSsdp &operator=(const ScriptedSsdp &) = delete;

    const std::string &address() const { return address_; }
    // Ends the server and returns the last question.
    std::string Stop() {
        if (thread_.joinable()) {
            shutdown(fd_, SHUT_RDWR);  // which ends the wait for a datagram
            thread_.join();
            close(fd_);
        }
        return question_;
    }

  private:
    void Serve() {
        char block[4096];
        sockaddr_in from{};
        socklen_t length = sizeof from;
        auto *plain = reinterpret_cast<sockaddr *>(&from);
        ssize_t got = 0;
        while ((got = recvfrom(fd_, block, sizeof block, 0, plain, &length)) > 0) {
            question_.assign(block, static_cast<std::size_t>(got));
            for (const std::string &answer : answers_) {
                sendto(fd_, answer.data(), answer.size(), 0, plain, length);
            }
        }
    }

    std::vector<std::string> answers_;
    int fd_;
    std::string address_;
    std::string question_;
    std::thread thread_;
};

inline std::string Found(
    const std::string &location,
    const std::string &target = "urn:schemas-upnp-org:service:ContentDirectory:1") {
    return "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nLocation:  " + location +
           " \r\nEXT:\r\nst: " + target + "\r\nUSN: uuid:1\r\n\r\n";
}

inline std::string Device(const std::string &name, const std::string &udn,
                          const std::string &inner) {
    return "<device><friendlyName> " + name + " </friendlyName><modelName>M</modelName><UDN>" +
           udn + "</UDN>" + inner + "</device>";
}

inline std::string Service(const std::string &type, const std::string &control) {
    return "<serviceList><service><serviceType>urn:schemas-upnp-org:service:Other:1</serviceType>"
           "<controlURL>/other</controlURL></service><service><serviceType>urn:schemas-upnp-org:"
           "service:" +
           type + "</serviceType><controlURL>" + control + "</controlURL></service></serviceList>";
}

inline std::string Description(const std::string &device, const std::string &base = "") {
    return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">" + base +
           device + "</root>";
}

inline std::string Browsed(const std::string &didl) {
    return "<?xml version=\"1.0\"?><u:BrowseResponse xmlns:u=\"u\"><Result>" + didl +
           "</Result></u:BrowseResponse>";
}

// The text of an element of a request.
inline std::string Asked(const HttpRequest &request, const std::string &name) {
    const std::size_t from = request.body.find("<" + name + ">") + name.size() + 2;
    return request.body.substr(from, request.body.find("</" + name + ">") - from);
}

}  // namespace tonvale_test
