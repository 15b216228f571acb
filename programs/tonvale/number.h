// Whole numbers of the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>

namespace tonvale_cli {

// A whole number from `least` to 2147483647 in decimal digits alone: the option parser's own
// conversion would take 010 for eight. `name` is what the error calls it.
int ParseNumber(std::string_view text, const std::string &name, int least);

// Adds an option whose value is a whole number from `least` to 2147483647, in decimal digits alone.
CLI::Option *AddNumber(CLI::App &app, const std::string &name, int &value, int least,
                       const std::string &description);

}  // namespace tonvale_cli
