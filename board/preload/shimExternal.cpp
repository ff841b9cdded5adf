// Shims: machine calls that may block while other threads run.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <mqueue.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <csignal>

#include "board/preload/readiness.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

HALVEXBOARD_REAL(readv);
HALVEXBOARD_REAL(recv);
HALVEXBOARD_REAL(recvfrom);
HALVEXBOARD_REAL(recvmsg);
HALVEXBOARD_REAL(accept);
HALVEXBOARD_REAL(accept4);
HALVEXBOARD_REAL(connect);
HALVEXBOARD_REAL(flock);
HALVEXBOARD_REAL(epoll_wait);
HALVEXBOARD_REAL(epoll_pwait);
HALVEXBOARD_REAL(pause);
HALVEXBOARD_REAL(sigwait);
HALVEXBOARD_REAL(sigwaitinfo);
HALVEXBOARD_REAL(sigtimedwait);
HALVEXBOARD_REAL(sigsuspend);

}  // namespace

HALVEXBOARD_SHIM ssize_t readv(int fd, const iovec* parts, int count) {
    awaitReadable(fd);
    return real_readv(fd, parts, count);
}

HALVEXBOARD_SHIM ssize_t recv(int fd, void* buffer, size_t size, int flags) {
    if ((flags & MSG_DONTWAIT) == 0) awaitReadable(fd);
    return real_recv(fd, buffer, size, flags);
}

HALVEXBOARD_SHIM ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* from, socklen_t* length) {
    if ((flags & MSG_DONTWAIT) == 0) awaitReadable(fd);
    return real_recvfrom(fd, buffer, size, flags, from, length);
}

HALVEXBOARD_SHIM ssize_t recvmsg(int fd, msghdr* message, int flags) {
    if ((flags & MSG_DONTWAIT) == 0) awaitReadable(fd);
    return real_recvmsg(fd, message, flags);
}

HALVEXBOARD_SHIM int accept(int fd, sockaddr* address, socklen_t* length) {
    awaitReadable(fd);
    return real_accept(fd, address, length);
}

HALVEXBOARD_SHIM int accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
    awaitReadable(fd);
    return real_accept4(fd, address, length, flags);
}

HALVEXBOARD_SHIM int connect(int fd, const sockaddr* address, socklen_t length) {
    const ExternalCall external;
    return real_connect(fd, address, length);
}

HALVEXBOARD_SHIM int flock(int fd, int operation) noexcept {
    const ExternalCall external;
    return real_flock(fd, operation);
}

HALVEXBOARD_SHIM int epoll_wait(int fd, epoll_event* events, int count, int milliseconds) {
    const ExternalCall external;
    return real_epoll_wait(fd, events, count, milliseconds);
}

HALVEXBOARD_SHIM int epoll_pwait(int fd, epoll_event* events, int count, int milliseconds, const sigset_t* mask) {
    const ExternalCall external;
    return real_epoll_pwait(fd, events, count, milliseconds, mask);
}

HALVEXBOARD_SHIM int pause() {
    const ExternalCall external;
    return real_pause();
}

HALVEXBOARD_SHIM int sigwait(const sigset_t* set, int* signal) {
    const ExternalCall external;
    return real_sigwait(set, signal);
}

HALVEXBOARD_SHIM int sigwaitinfo(const sigset_t* set, siginfo_t* info) {
    const ExternalCall external;
    return real_sigwaitinfo(set, info);
}

HALVEXBOARD_SHIM int sigtimedwait(const sigset_t* set, siginfo_t* info, const timespec* span) {
    const ExternalCall external;
    return real_sigtimedwait(set, info, span);
}

HALVEXBOARD_SHIM int sigsuspend(const sigset_t* mask) {
    const ExternalCall external;
    return real_sigsuspend(mask);
}
