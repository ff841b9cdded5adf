// Shims: system, popen and pclose. The C library's own start the shell where no shim sees it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"

using namespace halvexboard;

namespace {

constexpr const char* kShell = "/bin/sh";

struct Pipe {
    FILE* stream;
    pid_t pid;
};
constexpr std::size_t kMaxPipes = 64;
Pipe pipes[kMaxPipes] GUARDED_BY(boardLock());

int spawnShell(const char* command, pid_t& pid, const posix_spawn_file_actions_t* actions,
               const posix_spawnattr_t* attributes) noexcept {
    const char* const words[] = {"sh", "-c", command, nullptr};
    return posix_spawn(&pid, kShell, actions, attributes, const_cast<char* const*>(words), environ);
}

pid_t awaitExit(pid_t pid, int& status) noexcept {
    pid_t ended = 0;
    do ended = waitpid(pid, &status, 0);
    while (ended < 0 && errno == EINTR);
    return ended;
}

/// Of the shell: its end of the pipe as its standard input or output, and none of the other pipes.
int spawnBehind(const char* command, int its, int end, pid_t& pid) noexcept {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, its, end);
    {
        const LockGuard guard(boardLock());
        for (const Pipe& other : pipes)
            if (other.stream != nullptr) posix_spawn_file_actions_addclose(&actions, fileno(other.stream));
    }
    const int error = spawnShell(command, pid, &actions, nullptr);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

bool keep(FILE* stream, pid_t pid) noexcept {
    const LockGuard guard(boardLock());
    for (Pipe& entry : pipes) {
        if (entry.stream != nullptr) continue;
        entry = {stream, pid};
        return true;
    }
    errno = EMFILE;
    return false;
}

pid_t forget(const FILE* stream) noexcept {
    const LockGuard guard(boardLock());
    for (Pipe& entry : pipes) {
        if (entry.stream != stream) continue;
        entry.stream = nullptr;
        return entry.pid;
    }
    return -1;
}

}  // namespace

HALVEXBOARD_SHIM int system(const char* command) {
    if (!isActive()) return REAL(system)(command);
    if (command == nullptr) return 1;
    // As POSIX wants it: the caller ignores interrupts meanwhile, the shell does not.
    struct sigaction ignored {};
    struct sigaction interrupt {};
    struct sigaction quit {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignored, &interrupt);
    sigaction(SIGQUIT, &ignored, &quit);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    sigset_t reset;
    sigemptyset(&reset);
    if (interrupt.sa_handler != SIG_IGN) sigaddset(&reset, SIGINT);
    if (quit.sa_handler != SIG_IGN) sigaddset(&reset, SIGQUIT);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &before);
    posix_spawnattr_setsigdefault(&attributes, &reset);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    pid_t pid = -1;
    int status = 127 << 8;  // of a shell that cannot be executed
    const int error = spawnShell(command, pid, nullptr, &attributes);
    if (error == 0 && awaitExit(pid, status) < 0) status = -1;
    posix_spawnattr_destroy(&attributes);
    sigaction(SIGINT, &interrupt, nullptr);
    sigaction(SIGQUIT, &quit, nullptr);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return status;
}

HALVEXBOARD_SHIM FILE* popen(const char* command, const char* mode) {
    if (!isActive()) return REAL(popen)(command, mode);
    const bool isReader = std::strchr(mode, 'r') != nullptr;
    const bool closesOnExec = std::strchr(mode, 'e') != nullptr;
    if (isReader == (std::strchr(mode, 'w') != nullptr)) {
        errno = EINVAL;
        return nullptr;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    const int ours = ends[isReader ? 0 : 1];
    const int its = ends[isReader ? 1 : 0];
    pid_t pid = -1;
    const int error = spawnBehind(command, its, isReader ? STDOUT_FILENO : STDIN_FILENO, pid);
    close(its);
    if (error == 0 && !closesOnExec) fcntl(ours, F_SETFD, 0);
    FILE* const stream = error == 0 ? fdopen(ours, isReader ? "r" : "w") : nullptr;
    if (stream != nullptr && keep(stream, pid)) return stream;
    const int kept = error != 0 ? error : errno;
    if (stream != nullptr)
        std::fclose(stream);
    else
        close(ours);
    errno = kept;
    return nullptr;
}

HALVEXBOARD_SHIM int pclose(FILE* stream) {
    const pid_t pid = isActive() ? forget(stream) : -1;
    if (pid < 0) return REAL(pclose)(stream);
    std::fclose(stream);
    int status = -1;
    return awaitExit(pid, status) < 0 ? -1 : status;
}
