#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "mp3_utils/reader.h"
#include "mp3_utils/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "varn/handles.h"

namespace {

using Tonvale::mp3::ByteAt;
using Tonvale::mp3::kSource;
using Tonvale::support::Guarded;
using varn::File;

constexpr int kTagHeaderSize = 10;
constexpr int kTagSizePlace = 6;
// Where scanning starts after a tag whose size cannot be read.
constexpr int64_t kStartOfUnreadableTag = Tonvale::mp3::kUnreadable + kTagHeaderSize;

File OpenToRead(const char *path) {
    File file(std::fopen(path, "rbe"));
    struct stat info {};
    // A folder opens, and then has no end that could be reached.
    if (file && fstat(fileno(file.get()), &info) == 0 && S_ISDIR(info.st_mode)) {
        file.reset();
        errno = EISDIR;
    }
    if (file) {
        // The context has a buffer of its own; another would only read ahead of every seek.
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    }
    return file;
}

// The size of an open file; -1, logged, when it cannot be told.
int64_t SizeOf(std::FILE *file, const char *path) {
    if (fseeko(file, 0, SEEK_END) != 0) {
        LOG_ERROR_OLD(kSource, "Unable to seek to end %s ", path);
        return -1;
    }
    const int64_t size = ftello(file);
    if (size == -1) {
        LOG_ERROR_OLD(kSource, "Seeking to end of input file %s failed.", path);
    }
    return size;
}

// Where the frames begin: after an ID3v2 tag (ID3v2.4 structure, 3.1), whose size bytes are
// combined as they are, without masking their top bits.
int64_t StartOfFrames(MPEG_READER &reader) {
    constexpr char kMark[] = {'I', 'D', '3'};
    for (int place = 0; place < static_cast<int>(sizeof kMark); ++place) {
        if (ByteAt(reader, place) != kMark[place]) {
            return 0;
        }
    }
    if (fseeko(reader.stream, kTagSizePlace, SEEK_SET) != 0) {
        return kStartOfUnreadableTag;
    }
    int64_t size = 0;
    for (int place = kTagSizePlace; place < kTagHeaderSize; ++place) {
        const int shift = 7 * (kTagHeaderSize - 1 - place);
        size |= static_cast<int64_t>(ByteAt(reader, place)) << shift;
    }
    return size + kTagHeaderSize;
}

// Where the walk goes on after a frame. Zero bytes there are stuffing; the first byte after the
// frame is not looked at.
int64_t EndOfFrame(MPEG_READER &reader, const MPEG_FRAME_HEADER &header) {
    int64_t end = header.position + header.frameLength;
    if (end < reader.fileSize) {
        ByteAt(reader, end);  // fills the buffer for the next header
        for (int64_t next = end + 1; next < reader.fileSize && ByteAt(reader, next) == 0; ++next) {
            ++end;
        }
    }
    return end;
}

int64_t Walk(MPEG_READER &reader, int count) {
    int64_t position = StartOfFrames(reader);
    for (int frames = 0; position < reader.fileSize - TONVALE_MPEG_TAIL && frames < count;) {
        MPEG_FRAME_HEADER header{};
        if (ParseMPEG(&reader, &position, &header) == 0) {
            ++position;
            continue;
        }
        position = EndOfFrame(reader, header);
        ++frames;
    }
    return position;
}

}  // namespace

int64_t GetSeekOffset(const char *path, int frames) noexcept {
    if (path == nullptr) {
        LOG_ERROR_OLD(kSource, "Bad parameter.");
        return 0;
    }
    return Guarded(kSource, int64_t{0}, [&]() -> int64_t {
        const File file = OpenToRead(path);
        if (!file) {
            LOG_ERROR_OLD(kSource, "Unable to open %s ", path);
            return 0;
        }
        const auto reader = std::make_unique<MPEG_READER>();
        reader->stream = file.get();
        reader->fileSize = SizeOf(file.get(), path);
        return reader->fileSize < 0 ? 0 : Walk(*reader, frames);
    });
}
