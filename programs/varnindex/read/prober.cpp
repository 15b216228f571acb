#include "varnindex/read/prober.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "varn/process.h"

namespace varnindex {
namespace {

constexpr std::size_t kMostBytes = std::size_t{17} << 20;
constexpr int kNotRun = 127;

std::string ProberPath() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tonvale-prober";
}

// The platform's list of streams is for one thread at a time.
std::mutex streams;

int CloseAnswer(std::FILE *stream) {
    const std::lock_guard lock(streams);
    return VLIBCPclose(stream);
}

struct Close {
    void operator()(std::FILE *stream) const { CloseAnswer(stream); }
};

std::unique_ptr<std::FILE, Close> OpenAnswer(char *const argv[]) {
    const std::lock_guard lock(streams);
    return std::unique_ptr<std::FILE, Close>(VLIBCPopenv(argv[0], "r", argv));
}

}  // namespace

std::string AskProber(int file, std::vector<std::string> words) {
    const std::string asked = words.front();
    words.insert(words.begin(), {ProberPath(), "/proc/" + std::to_string(getpid()) + "/fd/" +
                                                   std::to_string(file)});
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    auto stream = OpenAnswer(argv.data());
    std::string answer;
    std::array<char, 65536> block;
    for (std::size_t got = 1; stream && got > 0 && answer.size() < kMostBytes;) {
        got = std::fread(block.data(), 1, block.size(), stream.get());
        answer.append(block.data(), got);
    }
    const int status = stream ? CloseAnswer(stream.release()) : -1;
    if (status == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == kNotRun)) {
        throw std::runtime_error(asked + " cannot be run; install Debian's package ffmpeg");
    }
    return status == 0 ? answer : std::string();
}

}  // namespace varnindex
