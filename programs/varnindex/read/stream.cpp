#include "varnindex/read/stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace varnindex {
namespace {

constexpr unsigned long kLargestBlock = 17UL << 20;  // a picture of 16 MiB and its tag
constexpr unsigned long kLargeBlock = 1UL << 20;     // one at a time from here on
constexpr unsigned long kMostLoaded = 256UL << 20;

// TagLib looks for the first audio frame in blocks of this size, to the end of the file.
constexpr unsigned long kSmallBlock = 4096;
constexpr unsigned long kWindow = 8 * kSmallBlock;
constexpr unsigned long kMostSearched = 4UL << 20;

// Chapters may hold chapters, which TagLib reads recursively.
constexpr std::size_t kMostChapters = 1000;

bool HasTooManyChapters(const TagLib::ByteVector &block) {
    const std::string_view bytes(block.data(), block.size());
    std::size_t chapters = 0;
    for (const std::string_view frame : {"CHAP", "CTOC"}) {
        for (std::size_t at = bytes.find(frame); at != bytes.npos && chapters <= kMostChapters;
             at = bytes.find(frame, at + frame.size())) {
            ++chapters;
        }
    }
    return chapters > kMostChapters;
}

}  // namespace

bool BoundedStream::IsWithinBounds(unsigned long wanted) {
    unsigned long &sum = wanted <= kSmallBlock ? searched_ : loaded_;
    const unsigned long most = wanted <= kSmallBlock ? kMostSearched : kMostLoaded;
    if (wanted > kLargestBlock) {
        return false;
    }
    if (sum + wanted > most) {
        sum = most;  // nor anything smaller: a search would find what it has not looked for
        return false;
    }
    sum += wanted;
    return true;
}

TagLib::ByteVector BoundedStream::readBlock(unsigned long length) {
    const auto left = static_cast<unsigned long>(std::max(length_ - position_, 0L));
    const unsigned long wanted = std::min(length, left);
    if (!IsWithinBounds(wanted)) {
        cutShort_ = true;
        return {};
    }
    if (wanted <= kSmallBlock) {
        return ReadThroughWindow(wanted);
    }
    if (wanted > kLargeBlock && !turn_.owns_lock()) {
        static std::mutex largeBlocks;
        turn_ = std::unique_lock(largeBlocks);
    }
    TagLib::ByteVector block(static_cast<unsigned>(wanted), 0);
    block.resize(static_cast<unsigned>(ReadAt(position_, block.data(), wanted)));
    if (HasTooManyChapters(block)) {
        cutShort_ = true;
        return {};
    }
    position_ += block.size();
    return block;
}

TagLib::ByteVector BoundedStream::BlockAt(long position, unsigned long length) {
    const unsigned long wanted = std::min(length, kSmallBlock);
    const long offset = position - windowStart_;
    if (offset >= 0 && offset + static_cast<long>(wanted) <= static_cast<long>(window_.size())) {
        return {window_.data() + offset, static_cast<unsigned>(wanted)};
    }
    TagLib::ByteVector block(static_cast<unsigned>(wanted), 0);
    block.resize(static_cast<unsigned>(ReadAt(position, block.data(), block.size())));
    return block;
}

TagLib::ByteVector BoundedStream::ReadThroughWindow(unsigned long wanted) {
    const long end = position_ + static_cast<long>(wanted);
    if (position_ < windowStart_ || end > windowStart_ + static_cast<long>(window_.size())) {
        windowStart_ = position_ - position_ % static_cast<long>(kSmallBlock);
        window_.resize(kWindow);
        window_.resize(ReadAt(windowStart_, window_.data(), kWindow));
    }
    // The file may have become shorter since it was opened.
    const long offset = std::min(position_ - windowStart_, static_cast<long>(window_.size()));
    const long size =
        std::min<long>(static_cast<long>(wanted), static_cast<long>(window_.size()) - offset);
    position_ += size;
    return {window_.data() + offset, static_cast<unsigned>(size)};
}

unsigned long BoundedStream::ReadAt(long position, char *out, unsigned long wanted) {
    unsigned long done = 0;
    while (done < wanted) {
        const ssize_t got = ::pread(descriptor_.Get(), out + done, wanted - done,
                                    position + static_cast<long>(done));
        if (got == 0 || (got < 0 && errno != EINTR)) {
            failed_ = failed_ || got < 0 || position + static_cast<long>(done) < length_;
            break;  // what cannot be read is missing, as in a damaged file
        }
        done += static_cast<unsigned long>(std::max<ssize_t>(got, 0));
    }
    for (const Shown &shown : shown_) {
        for (unsigned i = 0; i < shown.bytes.size(); ++i) {
            const long at = shown.position + static_cast<long>(i) - position;
            if (at >= 0 && at < static_cast<long>(done)) {
                out[at] = shown.bytes[i];
            }
        }
    }
    return done;
}

void BoundedStream::ShowInstead(long position, const TagLib::ByteVector &bytes) {
    shown_.push_back({position, bytes});
    window_.clear();
}

void BoundedStream::seek(long offset, Position from) {
    const long base = from == Beginning ? 0 : from == Current ? position_ : length_;
    long target = 0;
    if (!__builtin_add_overflow(base, offset, &target) && target >= 0) {
        position_ = target;
    }
}

std::unique_ptr<BoundedStream> OpenStream(const std::string &path, const SeenFile &seen,
                                          std::string &problem) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        problem = std::generic_category().message(errno);
        return nullptr;
    }
    if (!S_ISREG(info.st_mode)) {
        problem = "not a regular file";
        return nullptr;
    }
    if (!seen.MayBe(info)) {
        problem = "it was replaced while the folders were looked at";
        return nullptr;
    }
    return std::make_unique<BoundedStream>(std::move(fd), path, info.st_size);
}

}  // namespace varnindex
