// Shims: starting, signalling and reaping phc2sys and other processes, ending this one.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/processes.h"
#include "board/preload/programs.h"
#include "board/preload/realCalls.h"
#include "board/preload/shimHooks.h"
#include "board/preload/tree.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

/// The board's children in this process, for wait calls without a pid.
pid_t children[BOARD_MAX_CHILDREN] GUARDED_BY(boardLock());
std::size_t childCount GUARDED_BY(boardLock()) = 0;

bool isSimulatedProgram(const char* path) noexcept {
    const PathAnswer answer = findPath(path);
    return answer.what == PathClass::present && answer.node->kind == NodeKind::program;
}

constexpr const char* kRealProgram = "/usr/sbin/phc2sys";

/// Of the modelled program, when the scenario names the machine's.
bool isReplaced() noexcept {
    const LockGuard guard(boardLock());
    return isBoardShared() && board_configuration(model())->phc2sys.is_real != 0;
}

/// Like posix_spawn: returns 0 or an errno value; errno is left as the C library leaves it after a failed exec.
int startChild(pid_t* pid, char* const* arguments) noexcept {
    DeviceCall call(BOARD_CALL_POSIX_SPAWN, BOARD_TARGET_PHC2SYS, BOARD_FILE_ANY);
    if (!call.isFaulted()) {
        std::uint32_t count = 0;
        while (arguments[count] != nullptr) ++count;
        board_phc2sys_options options{};
        board_phc2sys_parse(count, const_cast<const char* const*>(arguments), &options);
        const std::int32_t started = board_phc2sys_start(model(), call.rawNs(), &options);
        call.succeed(started);
        if (started > 0) {
            if (pid != nullptr) *pid = started;
            children[childCount++ % BOARD_MAX_CHILDREN] = started;
        }
    }
    const int error = call.finishWithError();
    if (error != 0) errno = error;
    tellModelChanged();
    return error;
}

bool isSimulatedChild(pid_t pid) noexcept {
    board_child child{};
    const LockGuard guard(boardLock());
    return pid > 0 && board_child_get(model(), pid, &child) != 0;
}

int waitStatusOf(const board_child& child) noexcept {
    return child.state == BOARD_CHILD_EXITED ? (child.status & 0xff) << 8 : child.status & 0x7f;
}

/// Reaps one child of the board: its pid, 0 while it runs, or -ECHILD. Pid -1: any of them.
pid_t reap(pid_t pid, board_child& child) noexcept {
    const LockGuard guard(boardLock());
    if (pid > 0) return board_child_reap(model(), rawNow(), pid, &child);
    pid_t answer = -ECHILD;
    for (const pid_t candidate : children) {
        const pid_t reaped = candidate != 0 ? board_child_reap(model(), rawNow(), candidate, &child) : -ECHILD;
        if (reaped > 0) return reaped;
        answer = reaped == 0 ? 0 : answer;
    }
    return answer;
}

/// Looks for an ended child of the board without reaping: its pid, 0 while all run, or -ECHILD.
pid_t endedChild(board_child& child) noexcept {
    const LockGuard guard(boardLock());
    pid_t answer = -ECHILD;
    for (const pid_t candidate : children) {
        if (candidate == 0 || board_child_get(model(), candidate, &child) == 0 || child.state == BOARD_CHILD_NONE)
            continue;
        if (child.state != BOARD_CHILD_RUNNING) return candidate;
        answer = 0;
    }
    return answer;
}

void tell(const board_child& child, pid_t pid, siginfo_t* info) noexcept {
    if (info == nullptr) return;
    std::memset(info, 0, sizeof *info);
    if (pid <= 0) return;
    info->si_signo = SIGCHLD;
    info->si_pid = pid;
    info->si_code = child.state == BOARD_CHILD_EXITED ? CLD_EXITED : CLD_KILLED;
    info->si_status = child.status;
}

/// Waits for children that are processes of the machine. `wait` takes further options and returns a pid, 0 or -1.
template <typename Wait>
pid_t awaitMachine(Wait wait, pid_t pid, int options) noexcept {
    while (isScheduled() && isBoardShared() && hasChildOnBoard(pid)) {
        const pid_t ended = wait(WNOHANG);
        if (ended != 0 || (options & WNOHANG) != 0) return ended;
        if (!hasChildOnBoard(pid)) continue;
        if (scheduler().wait(scheduler().childKey(ownProcess()), Deadline::never(), true) != WaitResult::interrupted)
            continue;
        const pid_t late = wait(WNOHANG);
        return late != 0 ? late : refuse(EINTR);
    }
    const ExternalCall external;
    return wait(0);
}

pid_t waitForChild(pid_t pid, int options, board_child& child) noexcept {
    DeviceCall call(BOARD_CALL_WAITPID, BOARD_TARGET_PHC2SYS, BOARD_FILE_ANY);
    call.with(pid).with(options);
    if (!call.isFaulted()) {
        pid_t reaped = reap(pid, child);
        while (reaped == 0 && (options & WNOHANG) == 0) {
            if (waitForModel(Deadline::never()) == WaitResult::interrupted)
                reaped = -EINTR;
            else
                reaped = reap(pid, child);
        }
        call.refresh();
        call.succeed(reaped);
    }
    return static_cast<pid_t>(call.finish());
}

}  // namespace

namespace {

using Spawn = decltype(::posix_spawn);

/// Starts a program of the machine on the board.
int spawnProgram(Spawn* spawn, bool isSearched, pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const* words, char* const* variables) noexcept {
    const Verdict verdict = judgeProgram(file, isSearched);
    if (verdict == Verdict::refused) return EPERM;
    int position = -1;
    if (verdict == Verdict::carried) {
        const LockGuard guard(boardLock());
        position = prepareChild();
        if (position < 0) return EAGAIN;
    }
    const ProgramEnvironment environment(variables, verdict);
    pid_t started = -1;
    const int error = spawn(&started, file, actions, attributes, words, environment.variables());
    if (position >= 0 && error != 0) abandonChild(position);
    if (position >= 0 && error == 0) nameChild(position, started);
    if (error == 0 && pid != nullptr) *pid = started;
    return error;
}

}  // namespace

HALVEXBOARD_SHIM int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                                 const posix_spawnattr_t* attributes, char* const arguments[],
                                 char* const environment[]) {
    if (isSimulatedProgram(path))
        return isReplaced() ? posix_spawn(pid, kRealProgram, actions, attributes, arguments, environment)
                            : startChild(pid, arguments);
    if (!isActive() || !isBoardShared())
        return REAL(posix_spawn)(pid, path, actions, attributes, arguments, environment);
    return spawnProgram(REAL(posix_spawn).address(), false, pid, path, actions, attributes, arguments, environment);
}

HALVEXBOARD_SHIM int posix_spawnp(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                                  const posix_spawnattr_t* attributes, char* const arguments[],
                                  char* const environment[]) {
    if (isSimulatedProgram(path)) return startChild(pid, arguments);
    if (!isActive() || !isBoardShared())
        return REAL(posix_spawnp)(pid, path, actions, attributes, arguments, environment);
    return spawnProgram(REAL(posix_spawnp).address(), true, pid, path, actions, attributes, arguments, environment);
}

HALVEXBOARD_SHIM int kill(pid_t pid, int signal) noexcept {
    if (!isActive() || !isSimulatedChild(pid)) {
        const int result = REAL(kill)(pid, signal);
        if (result == 0 && isActive() && isBoardShared()) noteSignal(pid, signal);
        return result;
    }
    DeviceCall call(BOARD_CALL_KILL, BOARD_TARGET_PHC2SYS, BOARD_FILE_ANY);
    call.with(pid).with(signal);
    if (!call.isFaulted()) call.succeed(board_child_signal(model(), call.rawNs(), pid, signal));
    const auto result = static_cast<int>(call.finish());
    tellModelChanged();
    return result;
}

HALVEXBOARD_SHIM pid_t wait4(pid_t pid, int* status, int options, rusage* usage) noexcept {
    if (isActive() && isSimulatedChild(pid)) {
        board_child child{};
        const pid_t reaped = waitForChild(pid, options, child);
        if (reaped > 0 && status != nullptr) *status = waitStatusOf(child);
        if (reaped > 0 && usage != nullptr) std::memset(usage, 0, sizeof *usage);
        return reaped;
    }
    return awaitMachine([&](int more) { return REAL(wait4)(pid, status, options | more, usage); }, pid, options);
}

HALVEXBOARD_SHIM pid_t waitpid(pid_t pid, int* status, int options) {
    pthread_testcancel();
    if (!isActive() || pid != -1) return wait4(pid, status, options, nullptr);
    // Any child: the board's first, then the machine's; waits for the board's if there are no others.
    board_child child{};
    pid_t reaped = reap(-1, child);
    if (reaped == 0) {
        const pid_t real = wait4(-1, status, options | WNOHANG, nullptr);
        if (real > 0 || (options & WNOHANG) != 0) return real > 0 ? real : 0;
        reaped = waitForChild(-1, options, child);
    }
    if (reaped == -ECHILD) return wait4(-1, status, options, nullptr);
    if (reaped > 0 && status != nullptr) *status = waitStatusOf(child);
    return reaped;
}

HALVEXBOARD_SHIM pid_t wait(int* status) { return waitpid(-1, status, 0); }
HALVEXBOARD_SHIM pid_t wait3(int* status, int options, rusage* usage) noexcept {
    return wait4(-1, status, options, usage);
}

HALVEXBOARD_SHIM int waitid(idtype_t kind, id_t id, siginfo_t* info, int options) {
    pthread_testcancel();
    if (isActive() && kind == P_ALL && (options & WNOWAIT) != 0 && (options & WNOHANG) != 0) {
        board_child child{};
        const pid_t ended = endedChild(child);
        if (ended >= 0) {
            tell(child, ended, info);
            return 0;
        }
    }
    if (!isActive() || kind != P_PID || !isSimulatedChild(static_cast<pid_t>(id))) {
        siginfo_t ended{};
        const pid_t found = awaitMachine(
            [&](int more) {
                ended = {};
                const int result = REAL(waitid)(kind, id, &ended, options | more);
                return result == 0 ? ended.si_pid : result;
            },
            kind == P_PID ? static_cast<pid_t>(id) : -1, options);
        if (info != nullptr) *info = ended;
        return found < 0 ? -1 : 0;
    }
    board_child child{};
    const pid_t reaped = waitForChild(static_cast<pid_t>(id), options, child);
    tell(child, reaped, info);
    return reaped < 0 ? -1 : 0;
}

// Ends that run no destructors: the process leaves the board first.

HALVEXBOARD_SHIM __attribute__((noreturn)) void _exit(int status) {
    leaveBoard(true);
    REAL(_exit)(status);
    __builtin_unreachable();
}

HALVEXBOARD_SHIM __attribute__((noreturn)) void _Exit(int status) noexcept { _exit(status); }

HALVEXBOARD_SHIM __attribute__((noreturn)) void abort() noexcept {
    leaveBoard(true);
    REAL(abort)();
    __builtin_unreachable();
}

namespace halvexboard {

void forgetChildren() noexcept {
    const LockGuard guard(boardLock());
    std::memset(children, 0, sizeof children);
    childCount = 0;
}

}  // namespace halvexboard
