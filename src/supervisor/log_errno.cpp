#include "supervisor/log_errno.h"

#include "base/log.h"

#include <cerrno>
#include <cstring>

void log_errno(int priority, const char *fmt)
{
    int err = errno;
    log_msg(priority, fmt, err, strerror(err));
}
