// Replaceable C library functions, defined here so that they precede the C library's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/libcHooks.h"

#include <sys/mman.h>
#include <sys/syscall.h>

#include "tests/support/files.h"

namespace testsupport {
namespace {

struct CapturedLog {
    std::mutex mutex;
    int captures = 0;
    std::vector<SyslogLine> lines;
};

CapturedLog& capturedLog() {
    static auto& log = *new CapturedLog;
    return log;
}

/// False until the program is loaded: a sanitizer maps memory before it is initialised.
constinit bool isLoaded = false;
[[gnu::constructor]] void noteThatItIsLoaded() { isLoaded = true; }

template <typename Function>
Function* realFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// The redirected path of a call, and whether it differs from the caller's.
std::string redirect(const char* path) {
    const std::string_view asked = path;
    for (const auto& [prefix, directory] : libcHooks().redirectedPrefixes) {
        if (asked.starts_with(prefix)) return directory + std::string(asked.substr(prefix.size()));
    }
    return path;
}

void log(int priority, const char* format, va_list arguments) {
    char text[8192];
    vsnprintf(text, sizeof text, format, arguments);
    CapturedLog& captured = capturedLog();
    const std::lock_guard lock(captured.mutex);
    if (captured.captures > 0) captured.lines.push_back({priority, text});
}

}  // namespace

LibcHooks& libcHooks() {
    static auto& hooks = *new LibcHooks;
    return hooks;
}

RedirectedDirectory::RedirectedDirectory(const std::string& prefix) {
    realPath_ = makeScratchDirectory().string();
    libcHooks().redirectedPrefixes.emplace_back(prefix, realPath_);
}

RedirectedDirectory::~RedirectedDirectory() {
    const LibcHooksGuard othersReturn;
    libcHooks() = {};  // a test may still have readdir or close replaced
    std::error_code ignored;
    std::filesystem::remove_all(realPath_, ignored);
}

void RedirectedDirectory::writeFile(const std::string& relativePath, const std::string& content) const {
    const auto path = std::filesystem::path(realPath_) / relativePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string RedirectedDirectory::readFile(const std::string& relativePath) const {
    return fileContents(std::filesystem::path(realPath_) / relativePath);
}

void RedirectedDirectory::makeDirectory(const std::string& relativePath) const {
    std::filesystem::create_directories(std::filesystem::path(realPath_) / relativePath);
}

SyslogCapture::SyslogCapture() {
    CapturedLog& log = capturedLog();
    const std::lock_guard lock(log.mutex);
    if (log.captures++ == 0) log.lines.clear();
}

SyslogCapture::~SyslogCapture() {
    CapturedLog& log = capturedLog();
    const std::lock_guard lock(log.mutex);
    --log.captures;
}

std::vector<SyslogLine> SyslogCapture::getLines() const {
    CapturedLog& log = capturedLog();
    const std::lock_guard lock(log.mutex);
    return log.lines;
}

std::vector<std::string> SyslogCapture::getTexts(int priority) const {
    std::vector<std::string> texts;
    for (const SyslogLine& line : getLines()) {
        if (line.priority == priority) texts.push_back(line.text);
    }
    return texts;
}

void SyslogCapture::clear() {
    CapturedLog& log = capturedLog();
    const std::lock_guard lock(log.mutex);
    log.lines.clear();
}

}  // namespace testsupport

using testsupport::libcHooks;
using testsupport::realFunction;

extern "C" {

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (libcHooks().open) return libcHooks().open(path, flags, mode);
    static const auto real = realFunction<int(const char*, int, ...)>("open");
    return libcHooks().redirectedPrefixes.empty() ? real(path, flags, mode)
                                                  : real(testsupport::redirect(path).c_str(), flags, mode);
}

int __open_2(const char* path, int flags) { return open(path, flags); }

ssize_t readlink(const char* path, char* target, size_t size) {
    static const auto real = realFunction<ssize_t(const char*, char*, size_t)>("readlink");
    return real(testsupport::redirect(path).c_str(), target, size);
}

int close(int fd) {
    static const auto real = realFunction<int(int)>("close");
    return libcHooks().close ? libcHooks().close(fd) : real(fd);
}

ssize_t read(int fd, void* buffer, size_t length) {
    static const auto real = realFunction<ssize_t(int, void*, size_t)>("read");
    return libcHooks().read ? libcHooks().read(fd, buffer, length) : real(fd, buffer, length);
}

ssize_t __read_chk(int fd, void* buffer, size_t length, size_t) { return read(fd, buffer, length); }

ssize_t write(int fd, const void* buffer, size_t length) {
    static const auto real = realFunction<ssize_t(int, const void*, size_t)>("write");
    return libcHooks().write ? libcHooks().write(fd, buffer, length) : real(fd, buffer, length);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    static const auto real = realFunction<off_t(int, off_t, int)>("lseek");
    return libcHooks().lseek ? libcHooks().lseek(fd, offset, whence) : real(fd, offset, whence);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    static const auto real = realFunction<int(int, unsigned long, ...)>("ioctl");
    return libcHooks().ioctl ? libcHooks().ioctl(fd, request, argument) : real(fd, request, argument);
}

int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result) {
    static const auto real = realFunction<int(const char*, int, int (*)(const char*, int), glob_t*)>("glob");
    if (libcHooks().glob) return libcHooks().glob(pattern, flags, onError, result);
    return real(testsupport::redirect(pattern).c_str(), flags, onError, result);
}

void globfree(glob_t* result) {
    static const auto real = realFunction<void(glob_t*)>("globfree");
    libcHooks().globfree ? libcHooks().globfree(result) : real(result);
}

FILE* fopen(const char* path, const char* mode) {
    static const auto real = realFunction<FILE*(const char*, const char*)>("fopen");
    if (libcHooks().fopen) return libcHooks().fopen(path, mode);
    return real(testsupport::redirect(path).c_str(), mode);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    static const auto real = realFunction<size_t(void*, size_t, size_t, FILE*)>("fread");
    return libcHooks().fread ? libcHooks().fread(buffer, size, count, stream) : real(buffer, size, count, stream);
}

size_t __fread_chk(void* buffer, size_t, size_t size, size_t count, FILE* stream) {
    return fread(buffer, size, count, stream);
}

DIR* opendir(const char* path) {
    static const auto real = realFunction<DIR*(const char*)>("opendir");
    if (libcHooks().opendir) return libcHooks().opendir(path);
    return real(testsupport::redirect(path).c_str());
}

struct dirent* readdir(DIR* directory) {
    static const auto real = realFunction<struct dirent*(DIR*)>("readdir");
    return libcHooks().readdir ? libcHooks().readdir(directory) : real(directory);
}

int kill(pid_t pid, int signal) noexcept {
    static const auto real = realFunction<int(pid_t, int)>("kill");
    return libcHooks().kill ? libcHooks().kill(pid, signal) : real(pid, signal);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* fileActions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[]) {
    using Function = int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                         char* const[], char* const[]);
    static const auto real = realFunction<Function>("posix_spawn");
    return libcHooks().posix_spawn ? libcHooks().posix_spawn(pid, path, fileActions, attributes, argv, envp)
                                   : real(pid, path, fileActions, attributes, argv, envp);
}

int clock_settime(clockid_t clock, const timespec* time) noexcept {
    static const auto real = realFunction<int(clockid_t, const timespec*)>("clock_settime");
    return libcHooks().clock_settime ? libcHooks().clock_settime(clock, time) : real(clock, time);
}

int nanosleep(const timespec* request, timespec* remainder) {
    static const auto real = realFunction<int(const timespec*, timespec*)>("nanosleep");
    return libcHooks().nanosleep ? libcHooks().nanosleep(request, remainder) : real(request, remainder);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    if (!testsupport::isLoaded) {
        return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, fd, offset));
    }
    static const auto real = realFunction<void*(void*, size_t, int, int, int, off_t)>("mmap");
    return libcHooks().mmap ? libcHooks().mmap(address, length, protection, flags, fd, offset)
                            : real(address, length, protection, flags, fd, offset);
}

int munmap(void* address, size_t length) noexcept {
    if (!testsupport::isLoaded) return static_cast<int>(syscall(SYS_munmap, address, length));
    static const auto real = realFunction<int(void*, size_t)>("munmap");
    return libcHooks().munmap ? libcHooks().munmap(address, length) : real(address, length);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = realFunction<Function>("pthread_create");
    const int error = libcHooks().pthread_create ? libcHooks().pthread_create() : 0;
    return error != 0 ? error : real(thread, attributes, function, argument);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    static const auto real = realFunction<int(pthread_cond_t*, const pthread_condattr_t*)>("pthread_cond_init");
    return libcHooks().pthread_cond_init ? libcHooks().pthread_cond_init(condition, attributes)
                                         : real(condition, attributes);
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    static const auto real = realFunction<int(pthread_mutex_t*, const pthread_mutexattr_t*)>("pthread_mutex_init");
    return libcHooks().pthread_mutex_init ? libcHooks().pthread_mutex_init(mutex, attributes) : real(mutex, attributes);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    static const auto real = realFunction<int(pthread_mutexattr_t*)>("pthread_mutexattr_init");
    return libcHooks().pthread_mutexattr_init ? libcHooks().pthread_mutexattr_init(attributes) : real(attributes);
}

int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
    static const auto real = realFunction<int(pthread_mutexattr_t*, int)>("pthread_mutexattr_settype");
    return libcHooks().pthread_mutexattr_settype ? libcHooks().pthread_mutexattr_settype(attributes, type)
                                                 : real(attributes, type);
}

int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol) noexcept {
    static const auto real = realFunction<int(pthread_mutexattr_t*, int)>("pthread_mutexattr_setprotocol");
    return libcHooks().pthread_mutexattr_setprotocol ? libcHooks().pthread_mutexattr_setprotocol(attributes, protocol)
                                                     : real(attributes, protocol);
}

int pthread_condattr_init(pthread_condattr_t* attributes) noexcept {
    static const auto real = realFunction<int(pthread_condattr_t*)>("pthread_condattr_init");
    return libcHooks().pthread_condattr_init ? libcHooks().pthread_condattr_init(attributes) : real(attributes);
}

int pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) noexcept {
    static const auto real = realFunction<int(pthread_condattr_t*, clockid_t)>("pthread_condattr_setclock");
    return libcHooks().pthread_condattr_setclock ? libcHooks().pthread_condattr_setclock(attributes, clock)
                                                 : real(attributes, clock);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    using Function = int(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    static const auto real = reinterpret_cast<Function*>(dlvsym(RTLD_NEXT, "pthread_cond_timedwait", "GLIBC_2.3.2"));
    return libcHooks().pthread_cond_timedwait ? libcHooks().pthread_cond_timedwait(condition, mutex, deadline)
                                              : real(condition, mutex, deadline);
}

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept {
    if (libcHooks().pthread_mutex_clocklock) return libcHooks().pthread_mutex_clocklock(mutex, clock, deadline);
#ifndef HALVEX_THREAD_SANITIZER
    using Function = int(pthread_mutex_t*, clockid_t, const timespec*);
    static const auto real = realFunction<Function>("pthread_mutex_clocklock");
    return real(mutex, clock, deadline);
#else
    // The thread sanitizer of gcc 12 knows the timed lock on the real-time clock but not on a chosen clock, and would
    // consider a mutex locked by the latter free. Both waits are equally long while no one steps a clock.
    timespec now, real;
    clock_gettime(clock, &now);
    clock_gettime(CLOCK_REALTIME, &real);
    real.tv_sec += deadline->tv_sec - now.tv_sec;
    real.tv_nsec += deadline->tv_nsec - now.tv_nsec;
    if (real.tv_nsec < 0) {
        real.tv_nsec += 1'000'000'000;
        real.tv_sec -= 1;
    } else if (real.tv_nsec >= 1'000'000'000) {
        real.tv_nsec -= 1'000'000'000;
        real.tv_sec += 1;
    }
    return pthread_mutex_timedlock(mutex, &real);
#endif
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    testsupport::log(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    testsupport::log(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
