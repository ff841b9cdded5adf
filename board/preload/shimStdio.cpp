// Shims: fopen, fclose, and the stdio reads that could block while holding the token.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

int openFlags(const char* mode) noexcept {
    const bool both = std::strchr(mode, '+') != nullptr;
    int flags = both ? O_RDWR : (mode[0] == 'r' ? O_RDONLY : O_WRONLY);
    if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
    return flags;
}

/// The C library reads a stream's descriptor where no shim sees it: put the contents into its backing file.
void fillBacking(int fd, OpenFile& file) noexcept {
    const LockGuard guard(boardLock());
    if (file.canRead() && renderContent(file, rawNow()) > 0)
        rawSystemCall(SYS_pwrite64, fd, reinterpret_cast<long>(file.content), static_cast<long>(file.contentSize), 0);
    file.isStream = true;
}

FILE* openStream(const Node& node, const char* mode) noexcept {
    int fd = -1;
    {
        const int flags = openFlags(mode);
        DeviceCall call(BOARD_CALL_FOPEN, node.target, node.file);
        if (!call.isFaulted()) {
            const bool refused = node.kind == NodeKind::constantText && (flags & O_ACCMODE) != O_RDONLY;
            call.succeed(refused ? -EACCES : makeDescriptor(node, flags));
        }
        fd = static_cast<int>(call.finish());
    }
    if (fd < 0) return nullptr;
    fillBacking(fd, *findDescriptor(fd));
    FILE* const stream = REAL(fdopen)(fd, mode);
    if (stream == nullptr) {
        forgetDescriptor(fd);
        rawSystemCall(SYS_close, fd);
    }
    return stream;
}

/// Returns true if the path is the board's.
bool openOnBoard(const char* path, const char* mode, FILE*& stream) noexcept {
    const PathAnswer answer = findPath(path);
    if (answer.what == PathClass::foreign || mode == nullptr) return false;
    stream = nullptr;
    if (answer.what == PathClass::present) {
        stream = openStream(*answer.node, mode);
    } else {
        DeviceCall call(BOARD_CALL_FOPEN, BOARD_TARGET_ANY, BOARD_FILE_ANY);
        if (!call.isFaulted()) call.fail(ENOENT);
        call.finish();
    }
    return true;
}

bool isContentOf(const OpenFile& file, const char* text, long length) noexcept {
    const LockGuard guard(boardLock());
    return length == static_cast<long>(file.contentSize) &&
           std::memcmp(text, file.content, static_cast<std::size_t>(length)) == 0;
}

/// Passes text printed into an attribute through stdio from the backing file to the driver.
int storePrinted(FILE* stream, OpenFile& file) noexcept {
    if (file.node()->kind != NodeKind::ppbOffset || !file.canWrite()) return 0;
    std::fflush(stream);
    char text[OpenFile::kContentSize];
    const long length = rawSystemCall(SYS_pread64, fileno(stream), reinterpret_cast<long>(text), sizeof text, 0);
    if (length <= 0 || isContentOf(file, text, length)) return 0;
    return writeFile(file, text, static_cast<std::size_t>(length)) < 0 ? -1 : 0;
}

/// Before a stdio read: applies a due fault to a stream of the board, waits for the input of one of the machine.
bool mayRead(FILE* stream) noexcept {
    if (!isActive()) return true;
    if (OpenFile* const file = ours(fileno(stream))) {
        DeviceCall call(BOARD_CALL_FREAD, file->node()->target, file->node()->file);
        if (!call.isFaulted()) return true;
        call.finish();
        stream->_flags |= _IO_ERR_SEEN;
        return false;
    }
    if (stream->_IO_read_ptr >= stream->_IO_read_end) awaitReadable(fileno(stream));
    return true;
}

}  // namespace

HALVEXBOARD_SHIM FILE* fopen(const char* path, const char* mode) {
    pthread_testcancel();
    FILE* stream = nullptr;
    return openOnBoard(path, mode, stream) ? stream : REAL(fopen)(path, mode);
}

HALVEXBOARD_TWIN(fopen64, fopen);

HALVEXBOARD_SHIM int fclose(FILE* stream) {
    pthread_testcancel();
    OpenFile* const file = stream != nullptr ? ours(fileno(stream)) : nullptr;
    if (file == nullptr) return REAL(fclose)(stream);
    const int stored = storePrinted(stream, *file);
    const int error = errno;
    forgetDescriptor(fileno(stream));
    const int result = REAL(fclose)(stream);
    if (stored == 0) return result;
    errno = error;
    return EOF;
}

HALVEXBOARD_SHIM size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    return mayRead(stream) ? REAL(fread)(buffer, size, count, stream) : 0;
}

HALVEXBOARD_SHIM size_t __fread_chk(void* buffer, size_t room, size_t size, size_t count, FILE* stream) {
    if (size != 0 && count > room / size) __builtin_trap();
    return fread(buffer, size, count, stream);
}

HALVEXBOARD_SHIM char* fgets(char* buffer, int size, FILE* stream) {
    return mayRead(stream) ? REAL(fgets)(buffer, size, stream) : nullptr;
}

HALVEXBOARD_SHIM char* __fgets_chk(char* buffer, size_t room, int size, FILE* stream) {
    if (size > 0 && static_cast<size_t>(size) > room) __builtin_trap();
    return fgets(buffer, size, stream);
}

HALVEXBOARD_SHIM int fgetc(FILE* stream) { return mayRead(stream) ? REAL(fgetc)(stream) : EOF; }
HALVEXBOARD_TWIN(getc, fgetc);
HALVEXBOARD_SHIM int getchar() { return fgetc(stdin); }

HALVEXBOARD_SHIM ssize_t getline(char** line, size_t* size, FILE* stream) {
    return mayRead(stream) ? REAL(getline)(line, size, stream) : -1;
}

HALVEXBOARD_SHIM ssize_t getdelim(char** line, size_t* size, int delimiter, FILE* stream) {
    return mayRead(stream) ? REAL(getdelim)(line, size, delimiter, stream) : -1;
}

HALVEXBOARD_TWIN(__getdelim, getdelim);
