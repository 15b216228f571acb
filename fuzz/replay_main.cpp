// Runs a fuzz target over every file of a folder: what was once found stays found.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

namespace fs = std::filesystem;

bool Replay(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string input((std::istreambuf_iterator<char>(stream)), {});
    if (stream.bad() || !stream.is_open()) {
        std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
        return false;
    }
    // Named first: a target that aborts says no more.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    std::error_code failure;
    int replayed = 0;
    for (fs::directory_iterator entry(argv[1], failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (!entry->is_regular_file()) {
            continue;
        }
        if (!Replay(entry->path())) {
            return 1;
        }
        ++replayed;
    }
    if (failure || replayed == 0) {
        std::fprintf(stderr, "%s: %s\n", argv[1],
                     failure ? failure.message().c_str() : "nothing to replay");
        return 1;
    }
    return 0;
}
