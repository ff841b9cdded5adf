// What the processes on one board share: a file, mapped by each of them at the same address.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/sharedBoard.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <cerrno>

namespace halvexboard {

SharedBoard* mapBoard(const char* path) noexcept {
    constexpr long kAddress = 0x7ee0'0000'0000;  // far from heap, stack and libraries, with sanitizers too
    const long fd = rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path), O_RDWR | O_CLOEXEC);
    errno = static_cast<int>(-fd);
    if (fd < 0) return nullptr;
    struct stat status {};
    rawSystemCall(SYS_fstat, fd, reinterpret_cast<long>(&status));
    if (status.st_size < static_cast<off_t>(sizeof(SharedBoard))) {  // just being made, or another build's
        rawSystemCall(SYS_close, fd);
        errno = EPROTO;
        return nullptr;
    }
    const long mapped = rawSystemCall(SYS_mmap, kAddress, sizeof(SharedBoard), PROT_READ | PROT_WRITE,
                                      MAP_SHARED | MAP_FIXED_NOREPLACE, fd, 0);
    rawSystemCall(SYS_close, fd);
    auto* const board = reinterpret_cast<SharedBoard*>(kAddress);
    errno = mapped != kAddress ? static_cast<int>(-mapped) : EPROTO;
    return mapped == kAddress && board->settings.layout == SharedBoard::kLayout ? board : nullptr;
}

void useBoard(SharedBoard& board) noexcept {
    futexScope = 0;
    boardLockInUse = &board.lock;
    coreInUse = &board.core;
    schedulerInUse = &board.scheduler;
    processesInUse = &board.processes;
    filesInUse = board.files;
    traceInUse = &board.trace;
}

}  // namespace halvexboard
