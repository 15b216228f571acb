#include "varnindex/read/stream.h"

#include <algorithm>

namespace varnindex {
namespace {

constexpr unsigned long kLargestBlock = 17UL << 20;  // a picture of 16 MiB and its tag
constexpr unsigned long kLargeBlock = 1UL << 20;     // one at a time from here on

// TagLib looks for the first audio frame in blocks of this size, to the end of the file.
constexpr unsigned long kSmallBlock = 4096;
constexpr unsigned long kWindow = 4 * kSmallBlock;

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
    unsigned long &left = wanted <= kSmallBlock ? searchLeft_ : loadLeft_;
    if (wanted > kLargestBlock) {
        return false;
    }
    if (wanted > left) {
        left = 0;  // nor anything smaller: a search would find what it has not looked for
        return false;
    }
    left -= wanted;
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
        TagLib::ByteVector block = BlockAt(position_, wanted);
        position_ += block.size();
        return block;
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
    const std::string_view block = At(position, length);
    return {block.data(), static_cast<unsigned>(block.size())};
}

std::string_view BoundedStream::At(long position, unsigned long length) {
    const auto left = static_cast<unsigned long>(std::max(fileLength_ - position, 0L));
    const unsigned long wanted = std::min({length, kSmallBlock, left});
    const auto holds = [&](const Window &window) {
        const long offset = position - window.start;
        return offset >= 0 && static_cast<unsigned long>(offset) + wanted <= window.size;
    };
    auto *window = std::find_if(windows_.begin(), windows_.end(), holds);
    if (window == windows_.end()) {
        window = windows_.end() - 1;
        window->start = position - position % static_cast<long>(kSmallBlock);
        if (!window->bytes) {
            window->bytes = std::make_unique_for_overwrite<char[]>(kWindow);
        }
        const auto rest = static_cast<unsigned long>(std::max(fileLength_ - window->start, 0L));
        window->size = ReadAt(window->start, window->bytes.get(), std::min(kWindow, rest));
    }
    std::rotate(windows_.begin(), window, window + 1);
    // The file may have become shorter since it was opened.
    const Window &first = windows_.front();
    const std::size_t offset =
        std::min<std::size_t>(static_cast<std::size_t>(position - first.start), first.size);
    return {first.bytes.get() + offset, std::min(wanted, first.size - offset)};
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
    return done;
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
    struct stat info {};
    Descriptor fd = OpenPlain(path, O_RDONLY, info);
    if (!fd) {
        problem = errno == EINVAL ? "not a regular file" : std::generic_category().message(errno);
        return nullptr;
    }
    if (!seen.MayBe(info)) {
        problem = "it was replaced while the folders were looked at";
        return nullptr;
    }
    return std::make_unique<BoundedStream>(std::move(fd), path, info.st_size);
}

}  // namespace varnindex
