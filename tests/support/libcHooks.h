// Replaceable C library functions: a test replaces one for the lifetime of its guard; all others stay real.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <glob.h>
#include <spawn.h>
#include <sys/types.h>

#include "tests/support/osCallGuard.h"

namespace testsupport {

/// An empty entry means the real function. Applies to everything linked into the same test executable. Threads: entries
/// are replaced only while no other thread calls them.
struct LibcHooks {
    std::function<int(const char* path, int flags, mode_t mode)> open;
    std::function<int(int fd)> close;
    std::function<ssize_t(int fd, void* buffer, size_t length)> read;
    std::function<ssize_t(int fd, const void* buffer, size_t length)> write;
    std::function<off_t(int fd, off_t offset, int whence)> lseek;
    std::function<int(int fd, unsigned long request, void* argument)> ioctl;
    std::function<int(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result)> glob;
    std::function<void(glob_t* result)> globfree;
    std::function<FILE*(const char* path, const char* mode)> fopen;
    std::function<size_t(void* buffer, size_t size, size_t count, FILE* stream)> fread;
    std::function<ssize_t(const char* path, char* target, size_t size)> readlink;
    std::function<int(const char* path, int mode)> access;
    std::function<DIR*(const char* path)> opendir;
    std::function<struct dirent*(DIR* directory)> readdir;
    std::function<int(pid_t* pid, const char* path, const posix_spawn_file_actions_t* fileActions,
                      const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])>
        posix_spawn;
    std::function<int(pid_t pid, int signal)> kill;
    std::function<int(clockid_t clock, const timespec* time)> clock_settime;
    std::function<int(const timespec* request, timespec* remainder)> nanosleep;
    std::function<void*(void* address, size_t length, int protection, int flags, int fd, off_t offset)> mmap;
    std::function<int(void* address, size_t length)> munmap;
    /// Decides only whether the thread can start: an errno, or 0 for the real function.
    std::function<int()> pthread_create;
    std::function<int(pthread_cond_t* condition, const pthread_condattr_t* attributes)> pthread_cond_init;
    std::function<int(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)> pthread_mutex_init;
    std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec* deadline)> pthread_cond_timedwait;
    std::function<int(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline)> pthread_mutex_clocklock;
    std::function<int(pthread_mutexattr_t* attributes)> pthread_mutexattr_init;
    std::function<int(pthread_mutexattr_t* attributes, int type)> pthread_mutexattr_settype;
    std::function<int(pthread_mutexattr_t* attributes, int protocol)> pthread_mutexattr_setprotocol;
    std::function<int(pthread_condattr_t* attributes)> pthread_condattr_init;
    std::function<int(pthread_condattr_t* attributes, clockid_t clock)> pthread_condattr_setclock;

    /// Path prefixes and the directories that replace them in open, opendir, fopen, readlink, access and glob.
    std::vector<std::pair<std::string, std::string>> redirectedPrefixes;
};

LibcHooks& libcHooks();

/// Restores all entries at scope exit.
class LibcHooksGuard {
public:
    LibcHooksGuard() : saved_(libcHooks()) {}
    ~LibcHooksGuard() { libcHooks() = std::move(saved_); }
    LibcHooksGuard(const LibcHooksGuard&) = delete;
    LibcHooksGuard& operator=(const LibcHooksGuard&) = delete;

private:
    LibcHooks saved_;
};

/// A scratch directory that replaces `prefix` for a scope.
class RedirectedDirectory {
public:
    explicit RedirectedDirectory(const std::string& prefix);
    ~RedirectedDirectory();
    RedirectedDirectory(const RedirectedDirectory&) = delete;
    RedirectedDirectory& operator=(const RedirectedDirectory&) = delete;

    const std::string& getRealPath() const { return realPath_; }
    /// Makes a file below the directory, with its parent directories.
    void writeFile(const std::string& relativePath, const std::string& content) const;
    std::string readFile(const std::string& relativePath) const;
    void makeDirectory(const std::string& relativePath) const;

private:
    LibcHooksGuard guard_;
    std::string realPath_;
};

struct SyslogLine {
    int priority;
    std::string text;
    bool operator==(const SyslogLine&) const = default;
};

/// Captures syslog for a scope; nothing reaches the system's log. Threads: thread-safe.
class SyslogCapture {
public:
    SyslogCapture();
    ~SyslogCapture();
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;

    std::vector<SyslogLine> getLines() const;
    std::vector<std::string> getTexts(int priority) const;  ///< Of one priority, oldest first.
    void clear();
};

}  // namespace testsupport
