// Switches a board on and off in this process: core, files, threads and forks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/boardLife.h"

#include <pthread.h>

#include "board/preload/descriptors.h"
#include "board/preload/shimHooks.h"
#include "board/preload/traceFile.h"
#include "board/preload/tree.h"

namespace halvexboard {

namespace {

void beforeFork() ACQUIRE(boardLock()) { boardLock().lock(); }

void afterForkInParent() RELEASE(boardLock()) { boardLock().unlock(); }

void afterForkInChild() RELEASE(boardLock()) {
    scheduler().resetAfterFork();
    resetFileShimsAfterFork();
    abandonTraceFile();
    forgetChildren();
    boardLock().resetAfterFork();
}

void watchForks() noexcept {
    static bool watching = false;
    if (!watching) watching = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) == 0;
}

}  // namespace

bool switchOn(const board_config& config, const CoreOptions& options) noexcept {
    const bool canSchedule = hasThreadShims != nullptr;
    if (options.withScheduler && options.virtualTime) {
        if (!canSchedule) return false;
        prepareThreadShims();
    }
    watchForks();
    if (!startCore(config, options)) return false;
    const LockGuard guard(boardLock());
    buildTree(*board_configuration(model()));
    return true;
}

void switchOff() noexcept {
    forgetAllDescriptors();
    forgetChildren();
    stopCore();
}

}  // namespace halvexboard
