// Races that ./dev lint threads must refuse, in the lines marked so and in no other. Never built.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/boardCore.h"
#include "source/tools/leafMutex.h"
#include "source/zuHalvexTimekeeper/pluginState.h"

namespace plantedRaces {

using namespace halvexTimekeeper;

void forgetTheMonitorsError() {
    g_monitorStatus.code = 0;  // refused
    const locks::LockGuard lock(g_monitorStatusMutex);
    g_monitorStatus.code = 0;
}

void throwItWithoutTheMutex() {
    if (g_running) throwMonitorError();  // refused
}

template <typename Lock>
struct Counter {
    Lock lock;
    int value GUARDED_BY(lock) = 0;
};

void countOnAfterUnlocking(Counter<LeafMutex>& counter) {
    {
        const locks::LockGuard lock(counter.lock);
        ++counter.value;
    }
    ++counter.value;  // refused
}

void countThoughTheLockIsBusy(Counter<locks::TimedMutex>& counter, std::chrono::milliseconds timeout) {
    if (!counter.lock.try_lock_for(timeout)) {
        ++counter.value;  // refused
        return;
    }
    const locks::LockGuard lock(counter.lock, std::adopt_lock);
    ++counter.value;
}

void forgetToUnlock(Counter<locks::Mutex>& counter) {
    counter.lock.lock();
    ++counter.value;
}  // refused

using namespace halvexboard;

board* takeTheModelUnlocked() { return model(); }  // refused

board* takeTheModelAfterTheCall() {
    DeviceCall call(BOARD_CALL_READ, BOARD_TARGET_ANY, BOARD_FILE_ANY);
    board* const during = model();
    return call.finish() < 0 ? during : model();  // refused
}

board* takeTheModelDuringABreak() {
    const LockGuard guard(boardLock());
    const UnlockGuard released(boardLock());
    return model();  // refused
}

}  // namespace plantedRaces
