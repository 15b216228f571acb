// The folder of one test program.
#pragma once

#include <filesystem>

namespace tonvale_test {

class Environment {
  public:
    // Holds the root and the scratch folder; made at the start of the program, gone at its end.
    static const std::filesystem::path &Folder();
};

}  // namespace tonvale_test
