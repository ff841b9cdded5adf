// Shims: pthread_once.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadWaits.h"

using namespace halvexboard;

namespace {

/// Initialisations in progress. In the C library a second thread would wait while holding the token.
struct OnceTable {
    static constexpr std::size_t kSize = 64;
    const void* keys[kSize];
    const void* owners[kSize];

    std::size_t find(const void* key) const noexcept {
        std::size_t i = 0;
        while (i < kSize && keys[i] != key) ++i;
        return i;
    }
};

constinit OnceTable onceTable GUARDED_BY(boardLock()){};

/// Marks an initialisation as running, for a scope.
class OnceMark {
public:
    explicit OnceMark(const void* key) noexcept {
        const LockGuard guard(boardLock());
        position_ = onceTable.find(nullptr);
        if (position_ == OnceTable::kSize) return;
        onceTable.keys[position_] = key;
        onceTable.owners[position_] = Scheduler::self();
    }
    ~OnceMark() {
        if (position_ == OnceTable::kSize) return;
        const LockGuard guard(boardLock());
        const void* const key = onceTable.keys[position_];
        onceTable.keys[position_] = nullptr;
        scheduler().wake(key, kEveryone);
    }
    OnceMark(const OnceMark&) = delete;
    OnceMark& operator=(const OnceMark&) = delete;

private:
    std::size_t position_;
};

bool isUnderWayElsewhere(const void* key) noexcept {
    const LockGuard guard(boardLock());
    const std::size_t position = onceTable.find(key);
    return position != OnceTable::kSize && onceTable.owners[position] != Scheduler::self();
}

}  // namespace

HALVEXBOARD_SHIM int pthread_once(pthread_once_t* control, void (*initialise)()) {
    constexpr int kDone = 2;  // glibc's value of a completed control
    if (!isScheduled() || __atomic_load_n(control, __ATOMIC_ACQUIRE) == kDone)
        return REAL(pthread_once)(control, initialise);
    while (isUnderWayElsewhere(control)) scheduler().wait(control, Deadline::never(), false);
    const OnceMark mark(control);
    return REAL(pthread_once)(control, initialise);
}
