#include "installed.h"

#include <unistd.h>

#include <filesystem>

#include "varn/systempath.h"

namespace tonvale_cli {

std::string ProgramDir() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::string Indexer() {
    const std::string beside = ProgramDir() + "/varnindex";
    return access(beside.c_str(), X_OK) == 0 ? beside : std::string(varn::path::kIndexer);
}

}  // namespace tonvale_cli
