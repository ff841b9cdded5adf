// Shims: syslog. Lines go to the board's trace and console, not to the machine's log.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <syslog.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"

using namespace halvexboard;

HALVEXBOARD_SHIM void vsyslog(int priority, const char* format, va_list arguments) {
    pthread_testcancel();
    if (!isActive()) {
        REAL(vsyslog)(priority, format, arguments);
        return;
    }
    const int error = errno;  // %m formats the caller's errno
    char line[4096];
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    if (length < 0) return;
    const std::size_t size =
        static_cast<std::size_t>(length) < sizeof line ? static_cast<std::size_t>(length) : sizeof line - 1;
    board_call call{};
    call.kind = BOARD_CALL_SYSLOG;
    std::uint64_t costNs = 0;
    {
        const LockGuard guard(boardLock());
        board_tell_syslog(model(), rawNow(), priority, line, static_cast<std::uint32_t>(size));
        costNs = board_call_cost(model(), &call);
    }
    spend(costNs);
    errno = error;
}

HALVEXBOARD_SHIM void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

HALVEXBOARD_SHIM void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

HALVEXBOARD_SHIM void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
    vsyslog(priority, format, arguments);
}
