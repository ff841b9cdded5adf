// The trace as a file: buffers lines in fixed memory and writes them in pieces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/traceFile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <algorithm>
#include <cerrno>

#include "board/trace/traceLine.h"

namespace halvexboard {

namespace {

constexpr std::size_t kBufferSize = std::size_t{256} * 1024;

struct TraceFile {
    int fd = -1;
    bool unbuffered = false;
    std::size_t used = 0;
    char buffer[kBufferSize] = {};
};

constinit TraceFile file GUARDED_BY(boardLock()){};

void complain() noexcept {
    static constexpr char kText[] = "halvexboard: the trace cannot be written; it ends here\n";
    rawSystemCall(SYS_write, 2, reinterpret_cast<long>(kText), sizeof kText - 1);
}

void writeOut() noexcept REQUIRES(boardLock()) {
    std::size_t done = 0;
    while (file.fd >= 0 && done < file.used) {
        const long written = rawSystemCall(SYS_write, file.fd, reinterpret_cast<long>(file.buffer + done),
                                           static_cast<long>(file.used - done));
        if (written == -EINTR) continue;
        if (written <= 0) {
            complain();
            file.fd = -1;
            break;
        }
        done += static_cast<std::size_t>(written);
    }
    file.used = 0;
}

void flush(void*) noexcept REQUIRES(boardLock()) { writeOut(); }

void take(void*, const board_happening& happening) noexcept REQUIRES(boardLock()) {
    if (file.fd < 0) return;
    if (kBufferSize - file.used < kMaxTraceLine) writeOut();
    file.used += formatHappening(*happening.where, happening, file.buffer + file.used, kBufferSize - file.used);
    if (file.unbuffered) writeOut();
}

/// High enough that the program's own descriptors keep their usual numbers.
int outOfTheWay(int fd) noexcept {
    constexpr rlim_t kRoomAbove = 8;
    constexpr rlim_t kHighest = 65'000;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t wanted = std::min(limit.rlim_cur, kHighest);
    const long moved =
        rawSystemCall(SYS_fcntl, fd, F_DUPFD_CLOEXEC, static_cast<long>(wanted > kRoomAbove ? wanted - kRoomAbove : 0));
    if (moved < 0) return fd;
    rawSystemCall(SYS_close, fd);
    return static_cast<int>(moved);
}

}  // namespace

int openTraceFile(const char* path) noexcept {
    constexpr long kMode = 0644;
    const long fd = rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path),
                                  O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
    if (fd < 0) return static_cast<int>(-fd);
    const LockGuard guard(boardLock());
    file.fd = outOfTheWay(static_cast<int>(fd));
    file.used = 0;
    return 0;
}

HappeningSink traceFileSink() noexcept { return {take, flush, nullptr}; }

void finishTraceFile() noexcept {
    const LockGuard guard(boardLock());
    file.unbuffered = true;
    writeOut();
}

void abandonTraceFile() noexcept {
    if (file.fd >= 0) rawSystemCall(SYS_close, file.fd);
    file.fd = -1;
    file.used = 0;
}

}  // namespace halvexboard
