// What is installed beside this program.
#pragma once

#include <string>

namespace tonvale_cli {

// The folder of this program.
std::string ProgramDir();

// The indexer beside this program, which is as trustworthy as this program, or the installed one.
// No account that owns a root can replace either.
std::string Indexer();

}  // namespace tonvale_cli
