// Audio files as TagLib reads them: for reading only, and within bounds.
#pragma once

#include <taglib/tiostream.h>

#include <mutex>
#include <string_view>
#include <utility>

#include "varnindex/descriptor.h"
#include "varnindex/observe/file_facts.h"

namespace varnindex {

// What is in a file decides how much TagLib reads, and how deep it nests. This stream seems to end
// where a file asks for too much, and lets only one thread at a time hold a large block, so that
// neither the memory nor the time of a scan depends on what its files hold. It cannot write, and
// reads with few system calls, where TagLib's own makes several for each block.
class BoundedStream : public TagLib::IOStream {
  public:
    BoundedStream(Descriptor descriptor, std::string path, long length)
        : descriptor_(std::move(descriptor)),
          path_(std::move(path)),
          fileLength_(length),
          length_(length) {}

    TagLib::FileName name() const override { return path_.c_str(); }
    TagLib::ByteVector readBlock(unsigned long length) override;
    void seek(long offset, Position from) override;
    long tell() const override { return position_; }
    long length() override { return length_; }
    bool readOnly() const override { return true; }
    bool isOpen() const override { return true; }

    void writeBlock(const TagLib::ByteVector & /*data*/) override {}
    void insert(const TagLib::ByteVector & /*data*/, unsigned long /*start*/,
                unsigned long /*replaced*/) override {}
    void removeBlock(unsigned long /*start*/, unsigned long /*length*/) override {}
    void truncate(long /*length*/) override {}

    // At most 4096 bytes from anywhere, which no bound counts: valid until the next call.
    std::string_view At(long position, unsigned long length);
    TagLib::ByteVector BlockAt(long position, unsigned long length);

    // The open file, as long as this object lives.
    int File() const { return descriptor_.Get(); }

    // From here on the file seems to have this length, which is none longer than its own.
    void SetLength(long length) { length_ = length; }

    // From here on TagLib may read so many bytes in small blocks, as it does to search.
    void AllowSearch(unsigned long most = kMostSearched) { searchLeft_ = most; }

    // True when it has ended early.
    bool WasCutShort() const { return cutShort_; }

    // True when the disk has refused to give a part of it, or the file has become shorter.
    bool HasFailed() const { return failed_; }

  private:
    static constexpr unsigned long kMostSearched = 4UL << 20;
    static constexpr unsigned long kMostLoaded = 256UL << 20;

    bool IsWithinBounds(unsigned long wanted);
    unsigned long ReadAt(long position, char *out, unsigned long wanted);

    // A piece of the file. The last ones that were used stay: programs look at the begin and the end
    // in turn.
    struct Window {
        long start = 0;
        std::size_t size = 0;
        std::unique_ptr<char[]> bytes = {};
    };

    Descriptor descriptor_;
    std::string path_;
    long fileLength_;
    long length_;
    long position_ = 0;
    std::array<Window, 4> windows_;
    unsigned long searchLeft_ = kMostSearched;  // bytes of small blocks
    unsigned long loadLeft_ = kMostLoaded;      // bytes of the others
    bool cutShort_ = false;
    bool failed_ = false;
    std::unique_lock<std::mutex> turn_;
};

// Opens nothing but a regular file: the name may have become a FIFO since the walk, and opening
// that would wait for a writer. Null with a problem for a person, also where it may not be what was
// `seen`.
std::unique_ptr<BoundedStream> OpenStream(const std::string &path, const SeenFile &seen,
                                          std::string &problem);

}  // namespace varnindex
