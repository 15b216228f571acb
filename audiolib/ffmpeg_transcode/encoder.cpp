#include "ffmpeg_transcode/encoder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>

#include "ffmpeg_transcode/source.h"
#include "support/log.h"
#include "support/run_as.h"
#include "varn/systempath.h"

namespace Tonvale::transcode {

namespace {

constexpr std::size_t kDiscardBlock = 262144;

// The argument vector in the form of exec(3). Empty, logged, when memory is short.
std::vector<char *> ArgumentVector(const std::string &program, const Arguments &arguments) {
    const std::size_t count = arguments.size() + 2;
    std::vector<char *> vector;
    try {
        vector.reserve(count);
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        LOG_ERROR(kSource, "Failed to malloc(), size %zd, %m",
                  static_cast<ssize_t>(count * sizeof(char *)));
        return vector;
    }
    vector.push_back(const_cast<char *>(program.c_str()));
    for (const std::string &argument : arguments) {
        vector.push_back(const_cast<char *>(argument.c_str()));
    }
    vector.push_back(nullptr);
    return vector;
}

}  // namespace

Encoder Launch(const Arguments &arguments) {
    const std::string program = SystemPath(varn::path::kEncoder);
    const std::vector<char *> vector = ArgumentVector(program, arguments);
    if (vector.empty()) {
        return nullptr;
    }
    const support::RunAsRoot root(kSource);
    if (!root) {
        LOG_ERROR(kSource, "Failed to run as root.");
        return nullptr;
    }
    return Encoder(VLIBCPopenv(program.c_str(), "r", vector.data()));
}

bool ReadWhole(std::FILE *encoder, std::span<unsigned char> block) {
    const std::size_t got = std::fread(block.data(), 1, block.size(), encoder);
    if (got != block.size()) {
        LOG_ERROR(kSource, "fread() wrong, [%zu]", got);
        return false;
    }
    return true;
}

bool Discard(std::FILE *encoder, int64_t bytes) {
    if (bytes <= 0) {
        return true;
    }
    std::vector<unsigned char> block(kDiscardBlock);
    while (bytes > 0) {
        const auto size = std::min(bytes, static_cast<int64_t>(block.size()));
        if (!ReadWhole(encoder, std::span(block).first(static_cast<std::size_t>(size)))) {
            return false;
        }
        bytes -= size;
    }
    return true;
}

bool CopyToOutput(std::FILE *encoder, int64_t limit) {
    std::array<unsigned char, kCopyBlock> block;
    while (limit != 0) {
        std::size_t size = block.size();
        if (limit > 0) {
            size = static_cast<std::size_t>(std::min(limit, static_cast<int64_t>(size)));
        }
        const std::size_t got = std::fread(block.data(), 1, size, encoder);
        if (got == 0) {
            break;
        }
        if (!WriteOutput(std::span(block).first(got))) {
            return false;
        }
        limit -= limit > 0 ? static_cast<int64_t>(got) : 0;
    }
    return true;
}

bool WriteOutput(std::span<const unsigned char> block) {
    const std::size_t put = std::fwrite(block.data(), 1, block.size(), stdout);
    if (put != block.size()) {
        LOG_ERROR(kSource, "fwrite() wrong, [%zu] %m", put);
        return false;
    }
    return true;
}

bool FlushOutput() {
    if (std::fflush(stdout) != 0) {
        LOG_ERROR(kSource, "fflush() wrong, %m");
        return false;
    }
    return true;
}

}  // namespace Tonvale::transcode
