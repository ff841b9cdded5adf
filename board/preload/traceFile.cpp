// The trace as a file: lines are kept in memory and written in pieces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/traceFile.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <cerrno>

#include "board/trace/traceLine.h"

namespace halvexboard {

namespace {

void complain() noexcept {
    static constexpr char kText[] = "halvexboard: the trace cannot be written; it ends here\n";
    rawSystemCall(SYS_write, 2, reinterpret_cast<long>(kText), sizeof kText - 1);
    traceInUse->isBroken = true;
}

void take(void*, const board_happening& happening) noexcept REQUIRES(boardLock()) {
    TraceBuffer& trace = *traceInUse;
    if (trace.path[0] == '\0' || trace.isBroken) return;
    if (sizeof trace.lines - trace.used < kMaxTraceLine) writeTrace();
    trace.used +=
        formatHappening(*happening.where, happening, trace.lines + trace.used, sizeof trace.lines - trace.used);
}

}  // namespace

void writeTrace() noexcept {
    TraceBuffer& trace = *traceInUse;
    if (trace.used == 0 || trace.isBroken) return;
    // Opened each time: a descriptor of the program would be one more than it opened itself.
    const long fd =
        rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(trace.path), O_WRONLY | O_APPEND | O_CLOEXEC);
    std::size_t done = 0;
    while (done < trace.used && !trace.isBroken) {
        const long written = rawSystemCall(SYS_write, fd, reinterpret_cast<long>(trace.lines + done),
                                           static_cast<long>(trace.used - done));
        if (written > 0)
            done += static_cast<std::size_t>(written);
        else if (written != -EINTR)
            complain();
    }
    if (fd >= 0) rawSystemCall(SYS_close, fd);
    trace.used = 0;
}

HappeningSink traceSink() noexcept { return {take, nullptr}; }

}  // namespace halvexboard
