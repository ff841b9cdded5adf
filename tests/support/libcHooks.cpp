// Replaceable C library functions, defined here so that they precede the C library's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/libcHooks.h"

#include <sys/mman.h>
#include <sys/syscall.h>

#include "tests/support/files.h"
#include "tests/support/timedLock.h"

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

/// Calls the replacement if there is one, otherwise the C library's function of this name.
template <auto hook, typename... Arguments>
auto passOn(const char* name, Arguments... arguments) {
    const auto& replacement = libcHooks().*hook;
    using Result = decltype(replacement(arguments...));
    if (replacement) return replacement(arguments...);
    static const auto real = realFunction<Result(Arguments...)>(name);
    return real(arguments...);
}

/// The redirected path of a call, and whether it differs from the caller's.
std::string redirect(const char* path) {
    const std::string_view asked = path;
    for (const auto& [prefix, directory] : libcHooks().redirectedPrefixes) {
        if (asked.starts_with(prefix)) return directory + std::string(asked.substr(prefix.size()));
    }
    return path;
}

/// The same for a call whose first argument is a path; a replacement is given the caller's.
template <auto hook, typename... Arguments>
auto passPathOn(const char* name, const char* path, Arguments... arguments) {
    const bool isAsItIs = libcHooks().*hook || libcHooks().redirectedPrefixes.empty();
    return isAsItIs ? passOn<hook>(name, path, arguments...) : passOn<hook>(name, redirect(path).c_str(), arguments...);
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

using namespace testsupport;

extern "C" {

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return passPathOn<&LibcHooks::open>("open", path, flags, mode);
}

int __open_2(const char* path, int flags) { return open(path, flags); }

ssize_t readlink(const char* path, char* target, size_t size) noexcept {
    return passPathOn<&LibcHooks::readlink>("readlink", path, target, size);
}

int access(const char* path, int mode) noexcept { return passPathOn<&LibcHooks::access>("access", path, mode); }

int close(int fd) { return passOn<&LibcHooks::close>("close", fd); }

ssize_t read(int fd, void* buffer, size_t length) { return passOn<&LibcHooks::read>("read", fd, buffer, length); }

ssize_t __read_chk(int fd, void* buffer, size_t length, size_t) { return read(fd, buffer, length); }

ssize_t write(int fd, const void* buffer, size_t length) {
    return passOn<&LibcHooks::write>("write", fd, buffer, length);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    return passOn<&LibcHooks::lseek>("lseek", fd, offset, whence);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return passOn<&LibcHooks::ioctl>("ioctl", fd, request, argument);
}

int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result) {
    return passPathOn<&LibcHooks::glob>("glob", pattern, flags, onError, result);
}

void globfree(glob_t* result) { passOn<&LibcHooks::globfree>("globfree", result); }

FILE* fopen(const char* path, const char* mode) { return passPathOn<&LibcHooks::fopen>("fopen", path, mode); }

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    return passOn<&LibcHooks::fread>("fread", buffer, size, count, stream);
}

size_t __fread_chk(void* buffer, size_t, size_t size, size_t count, FILE* stream) {
    return fread(buffer, size, count, stream);
}

DIR* opendir(const char* path) { return passPathOn<&LibcHooks::opendir>("opendir", path); }

struct dirent* readdir(DIR* directory) {
    return passOn<&LibcHooks::readdir>("readdir", directory);
}

int kill(pid_t pid, int signal) noexcept { return passOn<&LibcHooks::kill>("kill", pid, signal); }

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* fileActions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const envp[]) {
    return passOn<&LibcHooks::posix_spawn>("posix_spawn", pid, path, fileActions, attributes, argv, envp);
}

int clock_settime(clockid_t clock, const timespec* time) noexcept {
    return passOn<&LibcHooks::clock_settime>("clock_settime", clock, time);
}

int nanosleep(const timespec* request, timespec* remainder) {
    return passOn<&LibcHooks::nanosleep>("nanosleep", request, remainder);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    if (!testsupport::isLoaded) {
        return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, fd, offset));
    }
    return passOn<&LibcHooks::mmap>("mmap", address, length, protection, flags, fd, offset);
}

int munmap(void* address, size_t length) noexcept {
    if (!testsupport::isLoaded) return static_cast<int>(syscall(SYS_munmap, address, length));
    return passOn<&LibcHooks::munmap>("munmap", address, length);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = realFunction<Function>("pthread_create");
    const int error = libcHooks().pthread_create ? libcHooks().pthread_create() : 0;
    return error != 0 ? error : real(thread, attributes, function, argument);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    return passOn<&LibcHooks::pthread_cond_init>("pthread_cond_init", condition, attributes);
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    return passOn<&LibcHooks::pthread_mutex_init>("pthread_mutex_init", mutex, attributes);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    return passOn<&LibcHooks::pthread_mutexattr_init>("pthread_mutexattr_init", attributes);
}

int pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) noexcept {
    return passOn<&LibcHooks::pthread_mutexattr_settype>("pthread_mutexattr_settype", attributes, type);
}

int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol) noexcept {
    return passOn<&LibcHooks::pthread_mutexattr_setprotocol>("pthread_mutexattr_setprotocol", attributes, protocol);
}

int pthread_condattr_init(pthread_condattr_t* attributes) noexcept {
    return passOn<&LibcHooks::pthread_condattr_init>("pthread_condattr_init", attributes);
}

int pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) noexcept {
    return passOn<&LibcHooks::pthread_condattr_setclock>("pthread_condattr_setclock", attributes, clock);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    using Function = int(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    static const auto real = reinterpret_cast<Function*>(dlvsym(RTLD_NEXT, "pthread_cond_timedwait", "GLIBC_2.3.2"));
    return libcHooks().pthread_cond_timedwait ? libcHooks().pthread_cond_timedwait(condition, mutex, deadline)
                                              : real(condition, mutex, deadline);
}

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept {
#ifdef HALVEX_THREAD_SANITIZER
    if (!libcHooks().pthread_mutex_clocklock) return testsupport::lockByRealTime(mutex, clock, deadline);
#endif
    return passOn<&LibcHooks::pthread_mutex_clocklock>("pthread_mutex_clocklock", mutex, clock, deadline);
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
