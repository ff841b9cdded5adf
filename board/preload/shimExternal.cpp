// Shims: machine calls that may block while other threads run.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/socket.h>
#include <sys/uio.h>

#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

void awaitMessage(int fd, int flags) noexcept {
    if ((flags & MSG_DONTWAIT) == 0) awaitReadable(fd);
}

}  // namespace

/// A shim that only calls its function: once there is something to read, or without the token while it blocks.
#define FORWARD(PREPARATION, RESULT, NAME, PARAMETERS, ARGUMENTS) \
    HALVEXBOARD_SHIM RESULT NAME PARAMETERS {                     \
        PREPARATION;                                              \
        return REAL(NAME) ARGUMENTS;                              \
    }
#define OUTSIDE const ExternalCall external

FORWARD(awaitReadable(fd), ssize_t, readv, (int fd, const iovec* parts, int count), (fd, parts, count))
FORWARD(awaitReadable(fd), int, accept, (int fd, sockaddr* address, socklen_t* length), (fd, address, length))
FORWARD(awaitReadable(fd), int, accept4, (int fd, sockaddr* address, socklen_t* length, int flags),
        (fd, address, length, flags))
FORWARD(awaitMessage(fd, flags), ssize_t, recv, (int fd, void* buffer, size_t size, int flags),
        (fd, buffer, size, flags))
FORWARD(awaitMessage(fd, flags), ssize_t, recvfrom,
        (int fd, void* buffer, size_t size, int flags, sockaddr* from, socklen_t* length),
        (fd, buffer, size, flags, from, length))
FORWARD(awaitMessage(fd, flags), ssize_t, recvmsg, (int fd, msghdr* message, int flags), (fd, message, flags))
FORWARD(OUTSIDE, int, connect, (int fd, const sockaddr* address, socklen_t length), (fd, address, length))
