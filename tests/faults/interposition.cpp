// Replaces C library functions by a simulated controller's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <glob.h>
#include <link.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/timex.h>

#include "tests/faults/standIn.h"

namespace faults {

constinit std::atomic<SimulatedController*> current{nullptr};

namespace {

constinit std::atomic<void (*)()> selectHook{nullptr};

struct Stream {
    int fd;
    bool hasFailed;
};
Stream theStream;
char theDirectory;

/// Address range of a sanitizer's runtime; empty if there is none, or if it is linked statically.
struct RuntimeCode {
    std::uintptr_t begin = 0, end = 0;
};

RuntimeCode findSanitizerRuntime() {
    RuntimeCode code;
    dl_iterate_phdr(
        [](dl_phdr_info* library, std::size_t, void* found) {
            const std::string_view path = library->dlpi_name;
            if (path.find("/libtsan.so") == path.npos && path.find("/libasan.so") == path.npos) return 0;
            std::uintptr_t end = 0;
            for (int i = 0; i < library->dlpi_phnum; ++i) {
                const auto& segment = library->dlpi_phdr[i];
                if (segment.p_type == PT_LOAD) end = std::max(end, segment.p_vaddr + segment.p_memsz);
            }
            *static_cast<RuntimeCode*>(found) = {library->dlpi_addr, library->dlpi_addr + end};
            return 1;
        },
        &code);
    return code;
}

const RuntimeCode sanitizerRuntime = findSanitizerRuntime();

/// The controller for a caller of a replaced function. A sanitizer that writes a report on any thread needs the
/// system's real files.
SimulatedController* controllerOf(const void* caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return address >= sanitizerRuntime.begin && address < sanitizerRuntime.end ? nullptr : current.load();
}

void logLine(int priority, const char* format, va_list arguments) {
    auto* const controller = current.load();
    if (controller == nullptr) return;
    cancellable([&] {
        char text[8192];
        vsnprintf(text, sizeof text, format, arguments);
        controller->syslog(priority, text);
        return Answer{};
    });
}

}  // namespace

void answerFrom(SimulatedController* controller) { current.store(controller); }

void beforeEachSelect(void (*hook)()) { selectHook = hook; }

}  // namespace faults

using namespace faults;

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_openat, AT_FDCWD, address(path), flags, mode));
    return static_cast<int>(cancellable([&] { return controller->open(path, flags); }));
}

int __open_2(const char* path, int flags) { return open(path, flags); }

int close(int fd) {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_close, fd));
    return static_cast<int>(cancellable([&] { return controller->close(fd); }));
}

ssize_t read(int fd, void* buffer, size_t length) {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_read, fd, address(buffer), static_cast<long>(length));
    return cancellable([&] { return controller->read(fd, buffer, length); });
}

ssize_t __read_chk(int fd, void* buffer, size_t length, size_t) { return read(fd, buffer, length); }

ssize_t write(int fd, const void* buffer, size_t length) {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_write, fd, address(buffer), static_cast<long>(length));
    return cancellable([&] { return controller->write(fd, buffer, length); });
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return systemCall(SYS_lseek, fd, offset, whence);
    return Outside().finish(controller->seek(fd, whence == SEEK_SET ? offset : -1));
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    auto* const controller = current.load();
    if (controller == nullptr)
        return static_cast<int>(systemCall(SYS_ioctl, fd, static_cast<long>(request), address(argument)));
    return static_cast<int>(Outside().finish(controller->ioctl(fd, request, argument)));
}

int select(int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
    auto* const controller = current.load();
    if (controller == nullptr) {
        return static_cast<int>(
            systemCall(SYS_select, nfds, address(readable), address(writable), address(exceptional), address(timeout)));
    }
    if (void (*const hook)() = selectHook.load()) hook();
    const auto* const words = reinterpret_cast<const unsigned long*>(readable);
    const auto bit = static_cast<unsigned>(nfds - 1);
    const bool isWatched = (words[bit / 64] >> (bit % 64) & 1) != 0;
    return static_cast<int>(
        cancellable([&] { return controller->select(nfds, isWatched, timeout->tv_sec, timeout->tv_usec); }));
}

int socket(int domain, int type, int protocol) noexcept {
    auto* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_socket, domain, type, protocol));
    return static_cast<int>(Outside().finish(controller->socket(domain, type, protocol)));
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    auto* const controller = clock == CLOCK_MONOTONIC && areThreadsFree ? nullptr : current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_gettime, clock, address(time)));
    return static_cast<int>(Outside().finish(controller->readClock(clock, time->tv_sec, time->tv_nsec)));
}

int clock_settime(clockid_t clock, const timespec* time) noexcept {
    auto* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_settime, clock, address(time)));
    return static_cast<int>(Outside().finish(controller->setClock(clock, time->tv_sec, time->tv_nsec)));
}

int clock_adjtime(clockid_t clock, timex* buffer) noexcept {
    auto* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_clock_adjtime, clock, address(buffer)));
    return static_cast<int>(Outside().finish(
        controller->adjustClock(clock, buffer->modes, buffer->freq, buffer->time.tv_sec, buffer->time.tv_usec)));
}

DIR* opendir(const char* path) {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return next<DIR*(const char*)>("opendir")(path);
    const long fd = Outside().finish(controller->openDirectory(path));
    return fd < 0 ? nullptr : reinterpret_cast<DIR*>(&theDirectory + fd);
}

struct dirent* readdir(DIR* directory) {
    auto* const controller = current.load();
    if (controller == nullptr) return next<struct dirent*(DIR*)>("readdir")(directory);
    Outside outside;
    static struct dirent entry;
    int error = 0;
    const auto found =
        controller->readDirectory(static_cast<int>(reinterpret_cast<char*>(directory) - &theDirectory), error);
    outside.finish({0, error});
    if (!found) return nullptr;
    entry.d_type = found->type;
    found->name.copy(entry.d_name, sizeof entry.d_name - 1);
    entry.d_name[found->name.size()] = '\0';
    return &entry;
}

int closedir(DIR* directory) {
    auto* const controller = current.load();
    if (controller == nullptr) return next<int(DIR*)>("closedir")(directory);
    return static_cast<int>(Outside().finish(
        controller->closeDirectory(static_cast<int>(reinterpret_cast<char*>(directory) - &theDirectory))));
}

int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result) {
    auto* const controller = current.load();
    if (controller == nullptr) {
        return next<int(const char*, int, int (*)(const char*, int), glob_t*)>("glob")(pattern, flags, onError, result);
    }
    Outside outside;
    std::string found;
    const long value = outside.finish(controller->glob(pattern, flags, found));
    if (value == 0) {
        result->gl_pathv = new char* [2] { strdup(found.c_str()), nullptr };
        result->gl_pathc = 1;
    }
    return static_cast<int>(value);
}

void globfree(glob_t* result) noexcept {
    auto* const controller = current.load();
    if (controller == nullptr) return next<void(glob_t*)>("globfree")(result);
    const Outside outside;
    if (result->gl_pathv != nullptr) std::free(result->gl_pathv[0]);
    delete[] result->gl_pathv;
    result->gl_pathv = nullptr;
    controller->globfree();
}

FILE* fopen(const char* path, const char* mode) {
    auto* const controller = controllerOf(__builtin_return_address(0));
    if (controller == nullptr) return next<FILE*(const char*, const char*)>("fopen")(path, mode);
    const long fd = cancellable([&] { return controller->openStream(path, mode); });
    if (fd < 0) return nullptr;
    theStream = {static_cast<int>(fd), false};
    return reinterpret_cast<FILE*>(&theStream);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    auto* const controller = current.load();
    if (controller == nullptr || stream != reinterpret_cast<FILE*>(&theStream)) {
        return next<size_t(void*, size_t, size_t, FILE*)>("fread")(buffer, size, count, stream);
    }
    return static_cast<size_t>(cancellable([&] {
               std::string content;
               const Answer answer = controller->readStream(theStream.fd, content);
               theStream.hasFailed = answer.error != 0;
               std::memcpy(buffer, content.data(), std::min(content.size(), size * count));
               return answer;
           })) /
           size;
}

size_t __fread_chk(void* buffer, size_t, size_t size, size_t count, FILE* stream) {
    return fread(buffer, size, count, stream);
}

int ferror(FILE* stream) noexcept {
    if (stream == reinterpret_cast<FILE*>(&theStream)) return theStream.hasFailed ? 1 : 0;
    return next<int(FILE*)>("ferror")(stream);
}

int fclose(FILE* stream) {
    auto* const controller = current.load();
    if (controller == nullptr || stream != reinterpret_cast<FILE*>(&theStream))
        return next<int(FILE*)>("fclose")(stream);
    return static_cast<int>(cancellable([&] { return controller->closeStream(theStream.fd); }));
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    auto* const controller = current.load();
    if (controller == nullptr || actions != nullptr || attributes != nullptr || environment != environ) return ENOSYS;
    Outside outside;
    return static_cast<int>(outside.finish(controller->spawn(*pid, path, arguments)));
}

int kill(pid_t pid, int signal) noexcept {
    auto* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_kill, pid, signal));
    return static_cast<int>(Outside().finish(controller->kill(pid, signal)));
}

int nanosleep(const timespec* request, timespec* remainder) {
    auto* const controller = current.load();
    if (controller == nullptr) return static_cast<int>(systemCall(SYS_nanosleep, address(request), address(remainder)));
    return static_cast<int>(cancellable([&] { return controller->sleep(request->tv_sec, request->tv_nsec); }));
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
