// The trace as a file: lines are stored in a mapping of it, so that a killed program loses none.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/traceFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "board/trace/traceLine.h"

namespace halvexboard {

namespace {

constexpr std::size_t kWindowSize = std::size_t{64} * 1024;

/// Lines go into a window of the file, shared with the kernel: they outlive a kill at any instruction, without a system
/// call each. The window's rest is empty lines; the file is cut behind the last line at the end.
struct TraceFile {
    int fd = -1;
    bool isWindowed = false;
    char* window = nullptr;
    std::size_t begin = 0;  ///< Of the window in the file.
    std::size_t used = 0;   ///< Of the window.
};

constinit TraceFile file GUARDED_BY(boardLock()){};

void complain() noexcept {
    static constexpr char kText[] = "halvexboard: the trace cannot be written; it ends here\n";
    rawSystemCall(SYS_write, 2, reinterpret_cast<long>(kText), sizeof kText - 1);
}

void closeWindow() noexcept REQUIRES(boardLock()) {
    if (file.window != nullptr) rawSystemCall(SYS_munmap, reinterpret_cast<long>(file.window), kWindowSize);
    file.window = nullptr;
}

/// From here on lines are written one by one.
void endWindows() noexcept REQUIRES(boardLock()) {
    closeWindow();
    if (file.isWindowed) rawSystemCall(SYS_ftruncate, file.fd, static_cast<long>(file.begin + file.used));
    file.isWindowed = false;
}

/// Writes the empty lines, since a full disk is an error here, and would be a SIGBUS in the window.
bool openWindow() noexcept REQUIRES(boardLock()) {
    constexpr std::size_t kPage = 4096;
    static char emptyLines[kWindowSize];
    std::memset(emptyLines, '\n', kWindowSize);
    closeWindow();
    const std::size_t done = file.used - file.used % kPage;
    file.begin += done;
    file.used -= done;
    const std::size_t missing = file.begin == 0 ? kWindowSize : done;
    const long written =
        rawSystemCall(SYS_write, file.fd, reinterpret_cast<long>(emptyLines), static_cast<long>(missing));
    if (written != static_cast<long>(missing)) return false;
    const long mapped = rawSystemCall(SYS_mmap, 0, kWindowSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE,
                                      file.fd, static_cast<long>(file.begin));
    if (mapped < 0) return false;
    file.window = reinterpret_cast<char*>(mapped);
    return true;
}

void writeLine(const board_happening& happening) noexcept REQUIRES(boardLock()) {
    static char line[kMaxTraceLine];  // threads may have small stacks
    const std::size_t size = formatHappening(*happening.where, happening, line, sizeof line);
    for (std::size_t done = 0; done < size;) {
        const long written =
            rawSystemCall(SYS_write, file.fd, reinterpret_cast<long>(line + done), static_cast<long>(size - done));
        if (written == -EINTR) continue;
        if (written <= 0) {
            complain();
            file.fd = -1;
            return;
        }
        done += static_cast<std::size_t>(written);
    }
}

void take(void*, const board_happening& happening) noexcept REQUIRES(boardLock()) {
    if (file.fd < 0) return;
    const bool isFull = file.window == nullptr || kWindowSize - file.used < kMaxTraceLine;
    if (file.isWindowed && isFull && !openWindow()) endWindows();
    if (file.isWindowed)
        file.used += formatHappening(*happening.where, happening, file.window + file.used, kWindowSize - file.used);
    else
        writeLine(happening);
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
                                  O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
    if (fd < 0) return static_cast<int>(-fd);
    // To truncate a file that another board maps would kill its program.
    if (rawSystemCall(SYS_flock, fd, LOCK_EX | LOCK_NB) == -EWOULDBLOCK) return EWOULDBLOCK;
    if (const long error = rawSystemCall(SYS_ftruncate, fd, 0); error != 0) return static_cast<int>(-error);
    const LockGuard guard(boardLock());
    file = {.fd = outOfTheWay(static_cast<int>(fd)), .isWindowed = true};
    return 0;
}

HappeningSink traceFileSink() noexcept { return {take, nullptr}; }

void finishTraceFile() noexcept {
    const LockGuard guard(boardLock());
    endWindows();
}

void abandonTraceFile() noexcept {
    closeWindow();
    if (file.fd >= 0) rawSystemCall(SYS_close, file.fd);
    file = {};
}

}  // namespace halvexboard
