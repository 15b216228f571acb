// The configuration of the gate, the server that others connect to.
//
// It takes whole requests alone: what comes slowly, header or body, waits there and costs no process
// and none of the connections behind it. Answers other than sound it takes at once and hands out at
// the reader's pace.
#pragma once

#include <optional>
#include <string>

#include "varn/host.h"
#include "web_config.h"

namespace tonvale_cli {

// Fails where `trusted_proxies` of audio.conf lists anything but addresses and networks.
varn::host::Outcome MakeGateConfig(const WebOptions &options, std::string &text);

// What the gate was last started with; empty when it never was.
std::optional<WebOptions> ReadGateConfig();

}  // namespace tonvale_cli
