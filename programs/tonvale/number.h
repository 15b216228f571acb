// Whole numbers of the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tonvale_cli {

// Adds an option whose value is a whole number from `least` to 2147483647, in decimal digits alone.
CLI::Option *AddNumber(CLI::App &app, const std::string &name, int &value, int least,
                       const std::string &description);

}  // namespace tonvale_cli
