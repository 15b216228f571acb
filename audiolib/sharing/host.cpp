#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "sharing/address.h"
#include "sharing/sharing.h"
#include "support/run_as.h"
#include "varn/keyfile.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::sharing {

namespace {

constexpr std::size_t kPartSize = 4095;
constexpr int kLineSize = 1024;

// Runs a program with one operand to its end and returns the first line that it prints, line end
// included. `status` is the one it ended with, -1 when it could not be run.
std::string FirstLine(std::string_view fixedPath, const char *operand, int &status) {
    std::string path = SystemPath(fixedPath);
    std::string argument = operand;
    char *const argv[] = {path.data(), argument.data(), nullptr};
    status = -1;
    std::FILE *stream = VLIBCPopenv(path.c_str(), "r", argv);
    if (stream == nullptr) {
        return "";
    }
    std::string first;
    char line[kLineSize];
    while (std::fgets(line, sizeof(line), stream) != nullptr) {
        if (first.empty()) {
            first = line;
        }
    }
    status = VLIBCPclose(stream);
    return first;
}

std::string DynamicDnsName() {
    std::optional<support::RootThenPrevious> asRoot;
    if (geteuid() != 0) {
        asRoot.emplace(kSource, __LINE__);
    }
    int status = 0;
    const std::string line = FirstLine(varn::path::kDynamicDns, "--get-hostname", status);
    return line.substr(0, line.find(' '));
}

std::string RelayDaemonName() {
    int status = 0;
    const std::string line = FirstLine(varn::path::kRelayDaemon, "-p", status);
    return status == 0 ? line : "";
}

std::string ConfiguredHost() {
    char host[kPartSize + 1] = "";
    VLIBCFileGetKeyValue(SystemPath(varn::path::kVarnInfo).c_str(), "external_host_ip", host,
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
