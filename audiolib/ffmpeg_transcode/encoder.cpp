#include "ffmpeg_transcode/encoder.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <thread>

#include "ffmpeg_transcode/source.h"
#include "support/fd.h"
#include "support/log.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace Tonvale::transcode {

namespace {

constexpr std::size_t kDiscardBlock = 262144;
constexpr std::size_t kMostMoved = 1 << 20;
constexpr int kPipeSize = 1 << 18;
constexpr ssize_t kLargePiece = 64 * 1024;
// Too short for a fast encoder to fill the pipe and wait.
constexpr std::chrono::microseconds kMoment{300};

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

// Makes room in a pipe, so that the programs at its ends take turns less often. It gets a quarter
// of what one pipe of an account without rights may have, because all streams of the account share
// a limit. Anything else stays as it is, and so does a pipe whose owner has reached the limit.
void Widen(int pipe) {
    const int errnoBefore = errno;
    if (fcntl(pipe, F_GETPIPE_SZ) < kPipeSize) {
        fcntl(pipe, F_SETPIPE_SZ, kPipeSize);
    }
    errno = errnoBefore;
}

bool OutputFailed(std::size_t put) {
    LOG_ERROR(kSource, "fwrite() wrong, [%zu] %m", put);
    return false;
}

// Where the headers go: the program may have put another stream in the place of standard output. -1
// for a stream without a descriptor.
int OutputFd() {
    return fileno(stdout);
}

bool Put(const void *block, std::size_t size) {
    return OutputFd() >= 0 ? support::WriteAll(OutputFd(), block, size)
                           : std::fwrite(block, 1, size, stdout) == size;
}

// Waits until the encoder has written something or has ended. False, with errno as a write would
// leave it, when the reader of standard output has left: a silent encoder would run on otherwise.
// A stream over memory is ready.
bool WaitFor(std::FILE *encoder) {
    if (fileno(encoder) < 0) {
        return true;
    }
    pollfd ends[] = {{fileno(encoder), POLLIN, 0}, {OutputFd(), 0, 0}};
    int ready;
    do {
        ready = poll(ends, std::size(ends), -1);
    } while (ready < 0 && errno == EINTR);
    if (ready > 0 && ends[1].revents != 0) {
        errno = EPIPE;
        return false;
    }
    return ready > 0;
}

// Hands what the encoder has written on to standard output without a copy of it. Returns its size,
// 0 when the encoder has ended, or -1 with errno set.
ssize_t Move(int encoder, std::size_t most) {
    ssize_t moved;
    do {
        moved = splice(encoder, nullptr, OutputFd(), nullptr, most, SPLICE_F_MOVE);
    } while (moved < 0 && errno == EINTR);
    return moved;
}

ssize_t Read(std::FILE *encoder, std::span<unsigned char> block) {
    if (fileno(encoder) < 0) {
        return static_cast<ssize_t>(std::fread(block.data(), 1, block.size(), encoder));
    }
    ssize_t got;
    do {
        got = read(fileno(encoder), block.data(), block.size());
    } while (got < 0 && errno == EINTR);
    return got;
}

// The same as Move, by a copy.
ssize_t CopyBlock(std::FILE *encoder, std::size_t most) {
    std::array<unsigned char, kCopyBlock> block;
    const ssize_t got = Read(encoder, std::span(block).first(std::min(most, block.size())));
    return got <= 0 || Put(block.data(), static_cast<std::size_t>(got)) ? got : -1;
}

}  // namespace

Encoder Launch(const Arguments &arguments) {
    const std::string program = SystemPath(varn::path::kEncoder);
    const std::vector<char *> vector = ArgumentVector(program, arguments);
    if (vector.empty()) {
        return nullptr;
    }
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kBackOrGoOn, kSource);
    if (!root) {
        LOG_ERROR(kSource, "Failed to run as root.");
        return nullptr;
    }
    Encoder encoder(VLIBCPopenv(program.c_str(), "r", vector.data()));
    if (encoder) {
        // Nothing may wait in a buffer here while the rest is handed on past it.
        std::setvbuf(encoder.get(), nullptr, _IONBF, 0);
        Widen(fileno(encoder.get()));
    }
    return encoder;
}

bool ReadWhole(std::FILE *encoder, std::span<unsigned char> block) {
    std::size_t got = 0;
    while (got < block.size()) {
        if (!WaitFor(encoder)) {
            return OutputFailed(0);
        }
        const ssize_t more = Read(encoder, block.subspan(got));
        if (more <= 0) {
            LOG_ERROR(kSource, "fread() wrong, [%zu]", got);
            return false;
        }
        got += static_cast<std::size_t>(more);
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
    if (!FlushOutput()) {
        return false;
    }
    Widen(OutputFd());
    const auto within = [&limit](std::size_t size) {
        return limit < 0 ? size : std::min(size, static_cast<std::size_t>(limit));
    };
    bool canMove = OutputFd() >= 0 && fileno(encoder) >= 0;
    while (limit != 0) {
        if (!WaitFor(encoder)) {
            return OutputFailed(0);
        }
        const ssize_t sent = canMove ? Move(fileno(encoder), within(kMostMoved))
                                     : CopyBlock(encoder, within(kCopyBlock));
        if (sent < 0 && canMove && errno == EINVAL) {
            canMove = false;  // an output of a kind that takes nothing but writes
            continue;
        }
        if (sent <= 0) {
            return sent == 0 || OutputFailed(0);
        }
        limit -= limit > 0 ? sent : 0;
        // The first bytes went on at once. After them the encoder's packets are many and small:
        // a moment later a few of them go the way through all the other programs as one.
        if (canMove && sent < kLargePiece) {
            std::this_thread::sleep_for(kMoment);
        }
    }
    return true;
}

bool WriteOutput(std::span<const unsigned char> block) {
    const std::size_t put = std::fwrite(block.data(), 1, block.size(), stdout);
    return put == block.size() || OutputFailed(put);
}

bool FlushOutput() {
    if (std::fflush(stdout) != 0) {
        LOG_ERROR(kSource, "fflush() wrong, %m");
        return false;
    }
    return true;
}

}  // namespace Tonvale::transcode
