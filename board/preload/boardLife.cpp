// Switches a board on and off in this process, or takes part in a shared one: core, files, threads and forks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/boardLife.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "board/preload/descriptors.h"
#include "board/preload/environment.h"
#include "board/preload/shimHooks.h"
#include "board/preload/timers.h"
#include "board/preload/tree.h"

namespace halvexboard {

namespace {

thread_local int childPosition = -1;

void beforeFork() ACQUIRE(boardLock()) {
    boardLock().lock();
    if (isBoardShared() && isActive()) childPosition = prepareChild();
}

void afterForkInParent() RELEASE(boardLock()) { boardLock().unlock(); }

/// The child goes on, on the same board, when it is its turn.
void goOnAsChild() noexcept {
    static constexpr char kNoRoom[] = "halvexboard: too many processes on the board\n";
    if (childPosition < 0) {
        rawSystemCall(SYS_write, STDERR_FILENO, reinterpret_cast<long>(kNoRoom), sizeof kNoRoom - 1);
        rawSystemCall(SYS_exit_group, kCannotStart);
    }
    cachedThreadId = 0;
    const LockGuard guard(boardLock());  // once the parent has released it
    becomeChild(childPosition);
    ownDescriptorsAs(ownProcess());
    Scheduler::becomeProcess(ownProcess());
    Scheduler::Thread* const first = std::exchange(processesInUse->entries[ownProcess()].first, nullptr);
    if (first != nullptr) scheduler().adopt(*first);
}

void afterForkInChild() NO_THREAD_SAFETY_ANALYSIS {
    if (isBoardShared()) {
        if (isActive()) goOnAsChild();
    } else {
        scheduler().resetAfterFork();
        boardLock().resetAfterFork();
    }
    resetFileShimsAfterFork();
    forgetChildren();
    forgetTimers();
}

void watchForks() noexcept {
    static bool watching = false;
    if (!watching) watching = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) == 0;
}

void buildTreeOfModel() noexcept {
    const LockGuard guard(boardLock());
    buildTree(*board_configuration(model()));
}

/// The entry of the calling thread, which waits for its turn.
void takeTurn(Arrival arrival) noexcept {
    const LockGuard guard(boardLock());
    const std::uint16_t process = ownProcess();
    Scheduler::Thread* thread = std::exchange(processesInUse->entries[process].first, nullptr);
    if (arrival == Arrival::replaced) {  // the thread that called exec has the token, the others have ended
        thread = scheduler().holder() != nullptr && scheduler().holder()->process == process ? scheduler().holder()
                                                                                             : nullptr;
        scheduler().retireProcess(process, thread);
    }
    if (thread == nullptr) thread = scheduler().prepareProcess(process);
    if (thread != nullptr) scheduler().adopt(*thread);
}

}  // namespace

void endFork(int result) noexcept {
    if (childPosition < 0 || !isBoardShared() || !isActive()) return;
    if (result < 0) abandonChild(childPosition);
    if (result > 0) nameChild(childPosition, result);
    childPosition = -1;
}

bool switchOn(const board_config& config, const CoreOptions& options) noexcept {
    const bool canSchedule = hasThreadShims != nullptr;
    if (options.withScheduler && options.virtualTime) {
        if (!canSchedule) return false;
        prepareThreadShims();
    }
    watchForks();
    if (!startCore(config, options)) return false;
    buildTreeOfModel();
    return true;
}

void switchOff() noexcept {
    forgetTimers();
    forgetAllDescriptors();
    forgetChildren();
    stopCore();
}

const char* joinBoard(SharedBoard& board) noexcept {
    useBoard(board);
    CoreOptions options;
    options.virtualTime = options.withScheduler = !board.settings.isTimeReal;
    options.consoleFd = board.settings.hasConsole ? STDERR_FILENO : -1;
    options.sink = traceSink();
    options.lookAfterOthers = lookAfterProcesses;
    options.beginTurn = awaitEnding;
    Arrival arrival{};
    if (enterProcess(arrival) < 0) return "too many processes on the board";
    ownDescriptorsAs(ownProcess());
    bool isFirst = false;
    {
        const LockGuard guard(boardLock());
        isFirst = !board.core.isOn;
        if (isFirst && !switchOn(board.settings.config, options))
            return "the scenario asks for more than the board can be";
    }
    if (isFirst) return nullptr;
    prepareThreadShims();
    watchForks();
    joinCore(options, ownProcess());
    buildTreeOfModel();
    findInheritedDescriptors();
    if (scheduler().isRunning()) takeTurn(arrival);
    if (scheduler().isRunning() && arrival == Arrival::replaced) restoreAlarm();
    return nullptr;
}

}  // namespace halvexboard
