// Shims: open, close, read, write, lseek, ioctl, dup, fcntl, mmap, socket.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <linux/netlink.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/realCalls.h"
#include "board/preload/timers.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

/// A child between vfork and exec shares memory but not descriptors: it must not remove entries from our table.
pid_t boardProcess = 0;

bool isThisProcess() noexcept {
    const auto me = static_cast<pid_t>(rawSystemCall(SYS_getpid));
    if (boardProcess == 0) boardProcess = me;
    return boardProcess == me;
}

/// Returns true if the path is the board's; the result is then in `fd`.
bool openOnBoard(const char* path, int flags, int& fd) noexcept {
    const PathAnswer answer = findPath(path);
    if (answer.what == PathClass::foreign) return false;
    fd = answer.what == PathClass::present ? openNode(*answer.node, flags) : openMissing();
    return true;
}

/// A path relative to a directory descriptor of the board; false for others.
bool openBelow(int directory, const char* path, int flags, int& fd) noexcept {
    if (path != nullptr && path[0] == '/') return openOnBoard(path, flags, fd);
    const OpenFile* const file = isActive() && path != nullptr ? findDescriptor(directory) : nullptr;
    if (file == nullptr) return false;
    char joined[kMaxPath];
    if (std::snprintf(joined, sizeof joined, "%s/%s", file->node()->path, path) >= static_cast<int>(sizeof joined)) {
        fd = refuse(ENAMETOOLONG);
        return true;
    }
    return openOnBoard(joined, flags, fd);
}

mode_t modeArgument(int flags, va_list arguments) noexcept {
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

namespace halvexboard {

void resetFileShimsAfterFork() noexcept { boardProcess = 0; }

}  // namespace halvexboard

HALVEXBOARD_SHIM int open(const char* path, int flags, ...) {
    pthread_testcancel();
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    int fd = -1;
    return openOnBoard(path, flags, fd) ? fd : REAL(open)(path, flags, mode);
}

HALVEXBOARD_TWIN(open64, open);
HALVEXBOARD_SHIM int __open_2(const char* path, int flags) { return open(path, flags); }
HALVEXBOARD_SHIM int __open64_2(const char* path, int flags) { return open(path, flags); }

HALVEXBOARD_SHIM int openat(int directory, const char* path, int flags, ...) {
    pthread_testcancel();
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    int fd = -1;
    return openBelow(directory, path, flags, fd) ? fd : REAL(openat)(directory, path, flags, mode);
}

HALVEXBOARD_TWIN(openat64, openat);
HALVEXBOARD_SHIM int __openat_2(int directory, const char* path, int flags) { return openat(directory, path, flags); }
HALVEXBOARD_SHIM int __openat64_2(int directory, const char* path, int flags) { return openat(directory, path, flags); }

HALVEXBOARD_SHIM int creat(const char* path, mode_t mode) {
    pthread_testcancel();
    int fd = -1;
    return openOnBoard(path, O_WRONLY | O_CREAT | O_TRUNC, fd) ? fd : REAL(creat)(path, mode);
}

namespace {

bool closeSocket() noexcept {
    DeviceCall call(BOARD_CALL_CLOSE, BOARD_TARGET_NETWORK, BOARD_FILE_SOCKET);
    if (!call.isFaulted()) call.succeed(0);
    return call.finish() == 0;
}

}  // namespace

HALVEXBOARD_SHIM int close(int fd) {
    pthread_testcancel();
    OpenFile* const file = ours(fd);
    if (Timer* const timer = isActive() ? timerOf(fd) : nullptr) removeTimer(*timer);
    if ((file == nullptr && !(isActive() && isNotedSocket(fd))) || !isThisProcess()) return REAL(close)(fd);
    const bool succeeded = file != nullptr ? closeFile(*file) : closeSocket();
    const int error = errno;
    forgetDescriptor(fd);
    const int result = REAL(close)(fd);
    return succeeded ? result : refuse(error);
}

HALVEXBOARD_SHIM ssize_t read(int fd, void* buffer, size_t size) {
    pthread_testcancel();
    if (OpenFile* const file = ours(fd)) return readFile(*file, buffer, size);
    awaitReadable(fd);
    return REAL(read)(fd, buffer, size);
}

HALVEXBOARD_SHIM ssize_t __read_chk(int fd, void* buffer, size_t size, size_t room) {
    if (size > room) __builtin_trap();
    return read(fd, buffer, size);
}

HALVEXBOARD_SHIM ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
    pthread_testcancel();
    OpenFile* const file = ours(fd);
    if (file == nullptr) return REAL(pread)(fd, buffer, size, offset);
    if (seekFile(*file, offset, SEEK_SET) < 0) return -1;
    return readFile(*file, buffer, size);
}

HALVEXBOARD_TWIN(pread64, pread);

namespace {

/// To a pipe whose reader may need the token: as much at a time as there is room for.
ssize_t writeInPieces(int fd, const char* bytes, size_t size) noexcept {
    size_t done = 0;
    do {
        const ssize_t written = REAL(write)(fd, bytes + done, std::min<size_t>(size - done, PIPE_BUF));
        if (written < 0) return done != 0 ? static_cast<ssize_t>(done) : written;
        done += static_cast<size_t>(written);
    } while (done < size && awaitRoom(fd));
    return static_cast<ssize_t>(done);
}

}  // namespace

HALVEXBOARD_SHIM ssize_t write(int fd, const void* buffer, size_t size) {
    pthread_testcancel();
    if (OpenFile* const file = ours(fd)) return writeFile(*file, buffer, size);
    if (isActive() && size != 0 && awaitRoom(fd)) return writeInPieces(fd, static_cast<const char*>(buffer), size);
    return REAL(write)(fd, buffer, size);
}

HALVEXBOARD_SHIM ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    pthread_testcancel();
    if (OpenFile* const file = ours(fd)) return writeFile(*file, buffer, size);
    return REAL(pwrite)(fd, buffer, size, offset);
}

HALVEXBOARD_TWIN(pwrite64, pwrite);

HALVEXBOARD_SHIM off_t lseek(int fd, off_t offset, int whence) noexcept {
    if (OpenFile* const file = ours(fd)) return seekFile(*file, offset, whence);
    return REAL(lseek)(fd, offset, whence);
}

HALVEXBOARD_TWIN(lseek64, lseek);

HALVEXBOARD_SHIM int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!isActive()) return REAL(ioctl)(fd, request, argument);
    if (OpenFile* const file = findDescriptor(fd)) return requestOnFile(*file, request, argument);
    int result = -1;
    return requestOnSocket(fd, request, argument, result) ? result : REAL(ioctl)(fd, request, argument);
}

HALVEXBOARD_SHIM int dup(int fd) noexcept {
    const int copy = REAL(dup)(fd);
    if (copy >= 0 && ours(fd) != nullptr && isThisProcess()) shareDescriptor(fd, copy);
    return copy;
}

HALVEXBOARD_SHIM int dup2(int fd, int wanted) noexcept {
    if (fd == wanted || !isActive() || !isThisProcess()) return REAL(dup2)(fd, wanted);
    const int copy = REAL(dup2)(fd, wanted);
    if (copy >= 0) {
        forgetDescriptor(copy);
        shareDescriptor(fd, copy);
    }
    return copy;
}

HALVEXBOARD_SHIM int dup3(int fd, int wanted, int flags) noexcept {
    const int copy = REAL(dup3)(fd, wanted, flags);
    if (copy >= 0 && isActive() && isThisProcess()) {
        forgetDescriptor(copy);
        shareDescriptor(fd, copy);
    }
    return copy;
}

namespace {

/// Waits for a lock on a file; `lock` takes whether it waits, and fails with EAGAIN or EACCES if it would have to.
template <typename Lock>
int lockFile(Lock lock) noexcept {
    if (!canLook()) {
        const ExternalCall external;
        return lock(true);
    }
    int result = -1;
    const auto isDone = [&] { return (result = lock(false)) == 0 || (errno != EAGAIN && errno != EACCES); };
    return lookUntil(Deadline::never(), isDone) == WaitResult::interrupted ? refuse(EINTR) : result;
}

}  // namespace

HALVEXBOARD_SHIM int flock(int fd, int operation) noexcept {
    if ((operation & LOCK_NB) != 0) return REAL(flock)(fd, operation);
    return lockFile([&](bool waits) { return REAL(flock)(fd, waits ? operation : operation | LOCK_NB); });
}

HALVEXBOARD_SHIM int fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    OpenFile* const file = ours(fd);
    if (command == F_SETLKW || command == F_OFD_SETLKW)
        return lockFile([&](bool waits) {
            const int tried = command == F_SETLKW ? F_SETLK : F_OFD_SETLK;
            return REAL(fcntl)(fd, waits ? command : tried, argument);
        });
    if (file != nullptr && command == F_GETFL)
        return file->flags & ~(O_CLOEXEC | O_CREAT | O_EXCL | O_NOCTTY | O_TRUNC);
    const int result = REAL(fcntl)(fd, command, argument);
    if (file != nullptr && result >= 0 && (command == F_DUPFD || command == F_DUPFD_CLOEXEC))
        shareDescriptor(fd, result);
    return result;
}

HALVEXBOARD_TWIN(fcntl64, fcntl);

HALVEXBOARD_SHIM void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    OpenFile* const file = fd >= 0 ? ours(fd) : nullptr;
    if (file == nullptr) return REAL(mmap)(address, length, protection, flags, fd, offset);
    DeviceCall call(BOARD_CALL_MMAP, file->node()->target, file->node()->file);
    call.with(static_cast<std::int64_t>(length)).with(offset);
    void* mapped = MAP_FAILED;
    if (!call.isFaulted()) {
        if (file->node()->kind == NodeKind::driverNode)
            mapped = REAL(mmap)(address, length, protection, flags, fd, offset);
        else
            errno = ENODEV;
        call.succeed(mapped != MAP_FAILED ? 0 : -errno);
    }
    call.finish();
    return mapped;
}

HALVEXBOARD_TWIN(mmap64, mmap);

HALVEXBOARD_SHIM int socket(int domain, int type, int protocol) noexcept {
    // Programs then make their requests by ioctl, which the board answers.
    if (isActive() && domain == AF_NETLINK && protocol == NETLINK_GENERIC) return refuse(EPROTONOSUPPORT);
    // Only datagram sockets matter: interface requests are made on them.
    if (!isActive() || (type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK)) != SOCK_DGRAM)
        return REAL(socket)(domain, type, protocol);
    DeviceCall call(BOARD_CALL_SOCKET, BOARD_TARGET_NETWORK, BOARD_FILE_SOCKET);
    call.with(domain).with(type).with(protocol);
    int fd = -1;
    if (!call.isFaulted()) {
        fd = REAL(socket)(domain, type, protocol);
        call.succeed(fd >= 0 ? fd : -errno);
        noteSocket(fd);
    }
    return static_cast<int>(call.finish());
}
