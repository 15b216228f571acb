// Runs a fuzz target over every file of a folder, so that no fault comes back.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

namespace fs = std::filesystem;

void Replay(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::badbit | std::ios::failbit);
    const std::string input((std::istreambuf_iterator<char>(stream)), {});
    // Printed first, because a target that aborts prints nothing more.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

}  // namespace

// An exception ends it if a file cannot be read.
int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    int replayed = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator(argv[1])) {
        if (entry.is_regular_file()) {
            Replay(entry.path());
            ++replayed;
        }
    }
    return replayed > 0 ? 0 : 1;
}
