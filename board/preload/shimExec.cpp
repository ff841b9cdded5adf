// Shims: executing another program, and forking. What is executed stays on the board or is refused.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "board/preload/boardCore.h"
#include "board/preload/processes.h"
#include "board/preload/programs.h"
#include "board/preload/realCalls.h"
#include "board/preload/shimHooks.h"
#include "board/preload/traceFile.h"

using namespace halvexboard;

namespace {

/// Returns only if the program could not be executed.
template <typename Execute>
int replaceProgram(const char* file, bool isSearched, char* const* variables, Execute execute) noexcept {
    if (!isActive() || !isBoardShared()) return execute(variables);
    const Verdict verdict = judgeProgram(file, isSearched);
    if (verdict == Verdict::refused) return refuse(EPERM);
    if (verdict == Verdict::outside) leaveBoard(false);
    const ProgramEnvironment environment(variables, verdict);
    {
        const LockGuard guard(boardLock());
        writeTrace();
    }
    return execute(environment.variables());
}

constexpr int kMaxArguments = 1024;

/// The arguments of the functions that take them one by one; the environment behind the null, if there is one.
struct Arguments {
    char* words[kMaxArguments + 1];
    char* const* variables = environ;

    Arguments(const char* first, va_list rest, bool withVariables) noexcept {
        int count = 0;
        words[count++] = const_cast<char*>(first);
        while (count <= kMaxArguments && words[count - 1] != nullptr) words[count++] = va_arg(rest, char*);
        if (withVariables) variables = va_arg(rest, char* const*);
    }
};

}  // namespace

HALVEXBOARD_SHIM int execve(const char* path, char* const words[], char* const variables[]) noexcept {
    return replaceProgram(path, false, variables, [&](char* const* with) { return REAL(execve)(path, words, with); });
}

HALVEXBOARD_SHIM int execvpe(const char* file, char* const words[], char* const variables[]) noexcept {
    return replaceProgram(file, true, variables, [&](char* const* with) { return REAL(execvpe)(file, words, with); });
}

HALVEXBOARD_SHIM int execv(const char* path, char* const words[]) noexcept { return execve(path, words, environ); }

HALVEXBOARD_SHIM int execvp(const char* file, char* const words[]) noexcept { return execvpe(file, words, environ); }

HALVEXBOARD_SHIM int execl(const char* path, const char* first, ...) noexcept {
    va_list rest;
    va_start(rest, first);
    const Arguments arguments(first, rest, false);
    va_end(rest);
    return execve(path, arguments.words, environ);
}

HALVEXBOARD_SHIM int execlp(const char* file, const char* first, ...) noexcept {
    va_list rest;
    va_start(rest, first);
    const Arguments arguments(first, rest, false);
    va_end(rest);
    return execvpe(file, arguments.words, environ);
}

HALVEXBOARD_SHIM int execle(const char* path, const char* first, ...) noexcept {
    va_list rest;
    va_start(rest, first);
    const Arguments arguments(first, rest, true);
    va_end(rest);
    return execve(path, arguments.words, arguments.variables);
}

HALVEXBOARD_SHIM int fexecve(int fd, char* const words[], char* const variables[]) noexcept {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    return replaceProgram(path, false, variables, [&](char* const* with) { return REAL(fexecve)(fd, words, with); });
}

HALVEXBOARD_SHIM pid_t fork() noexcept {
    const pid_t child = REAL(fork)();
    endFork(child);
    return child;
}

/// A child that shares the parent's memory would have no place on the board.
HALVEXBOARD_SHIM pid_t vfork() noexcept { return fork(); }
