#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "sharing/address.h"
#include "sharing/sharing.h"
#include "varn/keyfile.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace Tonvale::sharing {

namespace {

constexpr std::size_t kPartSize = 4095;
constexpr int kLineSize = 1024;

// Waits until a program closes its output, which VLIBCPclose needs for its status. Gives up on one
// that writes on and on, or leaves its output to another program.
void AwaitEnd(std::FILE *stream) {
    constexpr int kMostBytes = 4096;
    constexpr int kMostMilliseconds = 2000;
    pollfd output = {fileno(stream), POLLIN, 0};
    for (int read = 0; read < kMostBytes; ++read) {
        if (poll(&output, 1, kMostMilliseconds) <= 0 || std::fgetc(stream) == EOF) {
            return;
        }
    }
}

struct Printed {
    std::string line;  // the first one, line end included
    int status = -1;   // as VLIBCPclose gives it; -1 when the program could not be run
};

// Runs a program with one operand.
Printed Run(std::string_view fixedPath, const char *operand, bool needsStatus) {
    std::string path = SystemPath(fixedPath);
    std::string argument = operand;
    char *const argv[] = {path.data(), argument.data(), nullptr};
    Printed printed;
    std::FILE *stream = VLIBCPopenv(path.c_str(), "r", argv);
    if (stream == nullptr) {
        return printed;
    }
    // poll(2) does not see what stands in a buffer.
    std::setvbuf(stream, nullptr, _IONBF, 0);
    char line[kLineSize];
    if (std::fgets(line, sizeof(line), stream) != nullptr) {
        printed.line = line;
    }
    if (needsStatus) {
        AwaitEnd(stream);
    }
    printed.status = VLIBCPclose(stream);
    return printed;
}

std::string DynamicDnsName() {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kAccountBefore, kSource);
    const std::string line = Run(varn::path::kDynamicDns, "--get-hostname", false).line;
    return line.substr(0, line.find(' '));
}

std::string RelayDaemonName() {
    const Printed printed = Run(varn::path::kRelayDaemon, "-p", true);
    return printed.status == 0 ? printed.line : "";
}

std::string ConfiguredHost() {
    char host[kPartSize + 1] = "";
    VLIBCFileGetKeyValue(SystemPath(varn::path::kSystemInfo).c_str(), "external_host_ip", host,
                         sizeof(host));
    return host;
}

}  // namespace

std::string Environment(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

parsed_url ParseHostHeader(const std::string &header) {
    std::size_t end = header.find_first_of(":/");
    if (header.starts_with('[')) {
        const std::size_t bracket = header.find(']');
        end = bracket == std::string::npos ? bracket : bracket + 1;
    }
    parsed_url parts;
    parts.host = header.substr(0, end).substr(0, kPartSize);
    if (end < header.size() && header[end] == ':') {
        const std::string rest = header.substr(end + 1);
        parts.port = rest.substr(0, rest.find('/')).substr(0, kPartSize);
    }
    return parts;
}

std::string ChooseHost(const std::string &requestHost, const Json::Value &relay) {
    if (IsRelayHost(requestHost, relay)) {
        return requestHost;
    }
    std::string host = ConfiguredHost();
    if (host.empty()) {
        host = DynamicDnsName();
    }
    if (host.empty() && IsRelayUsable(relay)) {
        host = RelayDaemonName();
    }
    return host.empty() ? requestHost : host;
}

}  // namespace Tonvale::sharing
