#include "support/log.h"

#include <syslog.h>

#include <cstdarg>

namespace Tonvale::support {

void LogLine(int savedErrno, const char *format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    errno = savedErrno;
    vsyslog(LOG_ERR, format, arguments);
    va_end(arguments);
    errno = savedErrno;
}

}  // namespace Tonvale::support
