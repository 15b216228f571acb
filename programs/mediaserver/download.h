// Small documents from other machines, and the addresses in them. The one place of the programs
// that calls libcurl.
#pragma once

#include <optional>
#include <string>

namespace mediaserver {

struct Download {
    std::string body;
    std::string problem;  // "" when the body is whole
};

// Gets a document over HTTP: of 1 MiB at most, within three seconds, and not from elsewhere when
// the server says so.
Download Get(const std::string &url);

// What a result of a transfer that libcurl made means.
std::string TransferProblem(int result);

// The address that a reference means in a document that came from `base`. Empty when that is not
// HTTP or no address at all.
std::optional<std::string> Resolve(const std::string &base, const std::string &reference);

}  // namespace mediaserver
