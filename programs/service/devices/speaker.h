// AirPlay speakers and their passwords.
#pragma once

#include <optional>
#include <string>

namespace tonvale_service {

enum class SpeakerStatus { kOpen, kLocked, kRight, kWrong, kBusy, kUnknown };

// Asks a speaker whether it wants a password (open, locked) or tries one (right, also where none is
// needed, or wrong). The host is a name or an address; the port a number. Throws a Failure for what
// is none of these. The caller checks whether this host may be asked.
SpeakerStatus AskSpeaker(const std::string &host, const std::string &port,
                         const std::optional<std::string> &password);

}  // namespace tonvale_service
