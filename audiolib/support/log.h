// The library's log lines, at error level. The first word of a line is the source path of the
// module, the second the line in it; which form a module uses is settled by its age.
//
// errno is taken before anything else is evaluated, so that %m tells what the failed call left.
#pragma once

#include <cerrno>

namespace Tonvale::support {

// One line to syslog(3) with errno as given; errno is the same afterwards.
void LogLine(int savedErrno, const char *format, ...) noexcept
    __attribute__((format(printf, 2, 3)));

}  // namespace Tonvale::support

// "%s:%d message"
#define LOG_ERROR(source, format, ...) \
    TONVALE_LOG_LINE("%s:%d " format, source, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// "%s (%d) message"
#define LOG_ERROR_OLD(source, format, ...) \
    TONVALE_LOG_LINE("%s (%d) " format, source, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// "%s(%d)message": the oldest lines put what follows right after the parenthesis.
#define LOG_ERROR_OLDEST(source, format, ...) \
    TONVALE_LOG_LINE("%s(%d)" format, source, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define TONVALE_LOG_LINE(format, ...)                                  \
    do {                                                               \
        const int savedErrno_ = errno;                                 \
        ::Tonvale::support::LogLine(savedErrno_, format, __VA_ARGS__); \
    } while (false)
