// Checks whether a descriptor of the real machine would block, and waits without stopping the other threads.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/readiness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/waiting.h"

namespace halvexboard {

namespace {

long pollOne(int fd, short events, const timespec* span) noexcept {
    pollfd entry{fd, events, 0};
    return rawSystemCall(SYS_ppoll, reinterpret_cast<long>(&entry), 1, reinterpret_cast<long>(span), 0, 0);
}

void awaitReady(int fd, short events) noexcept {
    if (!isScheduled() || !scheduler().hasOthers()) return;
    constexpr timespec kNoWait{0, 0};
    if (pollOne(fd, events, &kNoWait) != 0 || (rawSystemCall(SYS_fcntl, fd, F_GETFL) & O_NONBLOCK) != 0) return;
    const ExternalCall external;
    pollOne(fd, events, nullptr);  // if interrupted, the call itself reports it or blocks
}

}  // namespace

void awaitReadable(int fd) noexcept { awaitReady(fd, POLLIN); }
void awaitWritable(int fd) noexcept { awaitReady(fd, POLLOUT); }

}  // namespace halvexboard
