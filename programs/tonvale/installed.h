// What is installed beside this program.
#pragma once

#include <string>

namespace tonvale_cli {

// The folder of this program.
std::string ProgramDir();

// The indexer beside this program, which is as trustworthy as this program is, whatever account
// owns the root; or the one that an installation put into its place.
std::string Indexer();

}  // namespace tonvale_cli
