#include "dlna/scripted_media_server.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "support/sockets.h"

namespace tonvale_test {

ScriptedSsdp::ScriptedSsdp(std::vector<std::string> answers)
    : answers_(std::move(answers)), fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    address_ = "127.0.0.1:" + std::to_string(BindToLoopback(fd_));
    thread_ = std::thread([this] { Serve(); });
}

std::string ScriptedSsdp::Stop() {
    if (thread_.joinable()) {
        shutdown(fd_, SHUT_RDWR);  // which ends the wait for a datagram
        thread_.join();
        close(fd_);
    }
    return question_;
}

void ScriptedSsdp::Serve() {
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

std::string Found(const std::string &location, const std::string &target) {
    return "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nLocation:  " + location +
           " \r\nEXT:\r\nst: " + target + "\r\nUSN: uuid:1\r\n\r\n";
}

std::string Device(const std::string &name, const std::string &udn, const std::string &inner) {
    return "<device><friendlyName> " + name + " </friendlyName><modelName>M</modelName><UDN>" +
           udn + "</UDN>" + inner + "</device>";
}

std::string Service(const std::string &type, const std::string &control) {
    return "<serviceList><service><serviceType>urn:schemas-upnp-org:service:Other:1</serviceType>"
           "<controlURL>/other</controlURL></service><service><serviceType>urn:schemas-upnp-org:"
           "service:" +
           type + "</serviceType><controlURL>" + control + "</controlURL></service></serviceList>";
}

std::string Description(const std::string &device, const std::string &base) {
    return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">" + base +
           device + "</root>";
}

std::string Browsed(const std::string &didl) {
    return "<?xml version=\"1.0\"?><u:BrowseResponse xmlns:u=\"u\"><Result>" + didl +
           "</Result></u:BrowseResponse>";
}

std::string Asked(const HttpRequest &request, const std::string &name) {
    const std::size_t from = request.body.find("<" + name + ">") + name.size() + 2;
    return request.body.substr(from, request.body.find("</" + name + ">") - from);
}

}  // namespace tonvale_test
