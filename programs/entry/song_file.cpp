#include "song_file.h"

#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "request.h"
#include "service/base/validators.h"
#include "song_sound.h"
#include "varn/http_range.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Validators;
using varn::Range;
using varn::RangeKind;

// A client that has a part continues only with the same file.
Range RangeOf(const Validators &now, int64_t total) {
    const std::string condition = Variable("HTTP_IF_RANGE");
    const bool counts =
        Variable("REQUEST_METHOD") == "GET" &&
        (condition.empty() || condition == now.etag || condition == now.lastModified);
    return counts ? varn::ReadRange(Variable("HTTP_RANGE"), total) : Range{};
}

// For what sendfile(2) cannot read or write.
bool Copy(int file, off_t at, off_t end) {
    std::array<char, 64 << 10> block;
    while (at < end) {
        const auto wanted = std::min<off_t>(end - at, block.size());
        const ssize_t got = pread(file, block.data(), static_cast<std::size_t>(wanted), at);
        if (got <= 0 ||
            !varn::WriteAll(STDOUT_FILENO, {block.data(), static_cast<std::size_t>(got)})) {
            return false;
        }
        at += got;
    }
    return true;
}

// False also for a file that has become shorter.
bool SendBytes(int file, off_t at, off_t end) {
    while (at < end) {
        const ssize_t sent = sendfile(STDOUT_FILENO, file, &at, static_cast<std::size_t>(end - at));
        if (sent < 0 && (errno == EINVAL || errno == ENOSYS)) {
            return Copy(file, at, end);
        }
        if (sent == 0 || (sent < 0 && errno != EINTR)) {
            return false;
        }
    }
    return true;
}

bool SendHeader(const char *status, const Validators &validators, const std::string &more) {
    const std::string header = std::string("Status: ") + status + "\r\n" + kAtListenersPace +
                               "Accept-Ranges: bytes\r\n" + tonvale_service::Lines(validators) +
                               more + "\r\n";
    return std::fwrite(header.data(), 1, header.size(), stdout) == header.size() &&
           std::fflush(stdout) == 0;
}

}  // namespace

bool SendFile(const SongFile &song, const char *type, bool headerOnly, const std::string &fields) {
    const Validators now = tonvale_service::ValidatorsOf(song.info);
    if (tonvale_service::IsUnchanged(now, Variable("HTTP_IF_NONE_MATCH"),
                                     Variable("HTTP_IF_MODIFIED_SINCE"))) {
        return SendHeader("304 Not Modified", now, "");
    }
    const off_t total = song.info.st_size;
    const std::string ofTotal = "/" + std::to_string(total) + "\r\n";
    const Range range = RangeOf(now, total);
    if (range.kind == RangeKind::kOutside) {
        return SendHeader("416 Range Not Satisfiable", now,
                          "Content-Range: bytes *" + ofTotal + "Content-Length: 0\r\n");
    }
    const bool isPart = range.kind == RangeKind::kPart;
    const off_t first = isPart ? range.first : 0;
    const off_t end = isPart ? range.last + 1 : total;
    std::string more = std::string("Content-Type: ") + type +
                       "\r\nContent-Length: " + std::to_string(end - first) + "\r\n" + fields;
    if (isPart) {
        more += "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(range.last) +
                ofTotal;
    }
    return SendHeader(isPart ? "206 Partial Content" : "200 OK", now, more) &&
           (headerOnly || SendBytes(song.file.Get(), first, end));
}

}  // namespace tonvale_entry
