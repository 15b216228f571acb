// The configuration of the gate, the server that others connect to.
//
// It takes whole requests alone: what comes slowly, header or body, waits there and costs no process
// and none of the connections behind it. Answers other than sound it takes at once and hands out at
// the reader's pace.
#pragma once

#include <optional>
#include <string>

#include "web_config.h"

namespace tonvale_cli {

std::string GateConfig(const WebOptions &options);

// What the gate was last started with; empty when it never was.
std::optional<WebOptions> ReadGateConfig();

}  // namespace tonvale_cli
