// Which speakers are asked for a client.
#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

namespace tonvale_entry {

struct SpeakerAddress {
    std::string host;  // an IPv4 or IPv6 address, in its usual form
    std::string port;
};

// Reads ADDRESS, ADDRESS:PORT or [IPV6]:PORT; the port is 5000 where none is named. Empty for names
// of machines (what a name stands for can change between the look at it and the question), and for
// ports below 1024, which other services have.
std::optional<SpeakerAddress> ParseSpeakerAddress(const std::string &text);

// A network that this machine is in, as one of its interfaces has it.
struct AttachedNetwork {
    in6_addr own;  // IPv4 addresses as mapped ones (RFC 4291, 2.5.5.2)
    int bits;      // of the network's part
};
std::vector<AttachedNetwork> AttachedNetworks();

// True for an address of one of these networks that is not this machine's own, nor that of all
// machines, and that is private (RFC 1918, RFC 4193) or link-local.
bool IsNeighbour(const std::string &address, const std::vector<AttachedNetwork> &networks);

// True for a neighbour; with `speaker_any_address` = "yes" in the package configuration any address
// will do.
bool IsPermittedSpeaker(const SpeakerAddress &speaker);

}  // namespace tonvale_entry
