// The cooperative scheduler: which thread runs, what each waits for, and when virtual time may jump.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/scheduler.h"

#include <algorithm>

#include "board/preload/nanoseconds.h"

namespace halvexboard {

namespace {

enum class State : std::uint8_t {
    unused,
    ready,     // runnable, waits for the token
    running,   // has the token
    waiting,   // waits for a key, a deadline or both
    external,  // in a call that may block outside the board
    left,      // finished, not yet joined
};

std::int64_t realMonotonicNs() noexcept {
    timespec now{};
    rawSystemCall(SYS_clock_gettime, CLOCK_MONOTONIC, reinterpret_cast<long>(&now));
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

std::uint64_t saturatingAdd(std::uint64_t a, std::uint64_t b) noexcept { return a > kNever - b ? kNever : a + b; }

}  // namespace

struct Scheduler::Thread {
    std::atomic<std::uint32_t> word{0};  // changes whenever the thread must re-check its state
    State state GUARDED_BY(boardLock()) = State::unused;
    bool detached GUARDED_BY(boardLock()) = false;
    bool interruptible GUARDED_BY(boardLock()) = false;
    WaitResult result GUARDED_BY(boardLock()) = WaitResult::woken;
    const void* key GUARDED_BY(boardLock()) = nullptr;
    std::uint32_t bits GUARDED_BY(boardLock()) = 0;
    Deadline deadline GUARDED_BY(boardLock());
    std::uint64_t turn GUARDED_BY(boardLock()) = 0;  // smaller runs first
    pthread_t handle GUARDED_BY(boardLock()){};
    bool named GUARDED_BY(boardLock()) = false;
    void* (*body)(void*) = nullptr;
    void* argument = nullptr;
};

namespace {

constinit Scheduler::Thread threadTable[Scheduler::kMaxThreads];
thread_local Scheduler::Thread* callingThread = nullptr;
constinit Scheduler theScheduler;

}  // namespace

Scheduler& scheduler() noexcept { return theScheduler; }

Scheduler::Thread* Scheduler::self() noexcept { return callingThread; }

// ---------------------------------------------------------------------------------------------------------- threads --

void Scheduler::start(const TimeHooks& hooks) noexcept {
    const LockGuard guard(boardLock());
    hooks_ = hooks;
    Thread& me = threadTable[0];
    me.state = State::running;
    me.handle = pthread_self();
    me.named = true;
    me.detached = false;
    callingThread = &me;
    used_ = 1;
    registered_ = 1;
    externals_ = 0;
    holder_ = &me;
    keeper_ = nullptr;
    nextTurn_ = 1;
    sliceStartNs_ = hooks_.rawNs();
    running_.store(true, std::memory_order_release);
}

void Scheduler::stop() noexcept {
    const LockGuard guard(boardLock());
    running_.store(false, std::memory_order_release);
    for (std::size_t i = 0; i < used_; ++i) threadTable[i].state = State::unused;
    callingThread = nullptr;
    holder_ = nullptr;
    keeper_ = nullptr;
    registered_ = 0;
    used_ = 0;
}

Scheduler::Thread* Scheduler::prepareThread(void* (*body)(void*), void* argument, bool detached) noexcept {
    const LockGuard guard(boardLock());
    for (std::size_t i = 0; i < kMaxThreads; ++i) {
        Thread& entry = threadTable[i];
        if (entry.state != State::unused) continue;
        entry.state = State::ready;
        entry.turn = nextTurn_++;
        entry.detached = detached;
        entry.named = false;
        entry.key = nullptr;
        entry.body = body;
        entry.argument = argument;
        used_ = std::max(used_, i + 1);
        ++registered_;
        return &entry;
    }
    return nullptr;
}

void Scheduler::abandonThread(Thread* thread) noexcept {
    const LockGuard guard(boardLock());
    thread->state = State::unused;
    --registered_;
}

void Scheduler::nameThread(Thread* thread, pthread_t handle) noexcept {
    const LockGuard guard(boardLock());
    thread->handle = handle;
    thread->named = true;
}

void Scheduler::enterThread(Thread* thread) noexcept {
    const LockGuard guard(boardLock());
    callingThread = thread;
    thread->handle = pthread_self();
    thread->named = true;
    if (holder_ == nullptr) dispatch();
    awaitGrant(*thread);
}

void Scheduler::runThread(Thread* thread, void* (*&body)(void*), void*& argument) noexcept {
    body = thread->body;
    argument = thread->argument;
}

void Scheduler::leaveThread() noexcept {
    Thread* const me = callingThread;
    if (me == nullptr || !isRunning()) return;
    const LockGuard guard(boardLock());
    callingThread = nullptr;
    me->state = me->detached ? State::unused : State::left;
    --registered_;
    wake(me, static_cast<int>(kMaxThreads));
    if (holder_ == me) {
        holder_ = nullptr;
        dispatch();
    }
}

bool Scheduler::awaitEnd(pthread_t handle, Deadline deadline, WaitResult& result) noexcept {
    const LockGuard guard(boardLock());
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threadTable[i];
        if (entry.state == State::unused || !entry.named || pthread_equal(entry.handle, handle) == 0) continue;
        if (&entry == callingThread)  // self-join: the C library reports EDEADLK
            return false;
        while (entry.state != State::left) {
            result = wait(&entry, deadline, false);
            if (result == WaitResult::timedOut && entry.state != State::left) return true;
        }
        result = WaitResult::woken;
        entry.state = State::unused;
        return true;
    }
    return false;
}

void Scheduler::detach(pthread_t handle) noexcept {
    const LockGuard guard(boardLock());
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threadTable[i];
        if (entry.state == State::unused || !entry.named || pthread_equal(entry.handle, handle) == 0) continue;
        entry.detached = true;
        if (entry.state == State::left) entry.state = State::unused;
    }
}

void Scheduler::resetAfterFork() noexcept {
    for (Thread& entry : threadTable) {
        if (&entry != callingThread) entry.state = State::unused;
    }
    registered_ = callingThread != nullptr ? 1 : 0;
    externals_ = 0;
    waitingCount_.store(0, std::memory_order_relaxed);
    keeper_ = nullptr;
    holder_ = callingThread;
    if (callingThread != nullptr) callingThread->state = State::running;
}

// ---------------------------------------------------------------------------------------------------------- waiting --

void Scheduler::prepareWait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits) noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    me.state = State::waiting;
    me.key = key;
    me.bits = bits;
    me.deadline = deadline;
    me.interruptible = interruptible;
    me.turn = nextTurn_++;
    waitingCount_.fetch_add(1, std::memory_order_relaxed);
}

WaitResult Scheduler::commitWait() noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    leaveToken(me);
    return me.result;
}

void Scheduler::cancelWait() noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    if (me.state == State::waiting) waitingCount_.fetch_sub(1, std::memory_order_relaxed);
    me.state = State::running;
}

WaitResult Scheduler::wait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits) noexcept {
    const LockGuard guard(boardLock());
    prepareWait(key, deadline, interruptible, bits);
    return commitWait();
}

int Scheduler::wake(const void* key, int count, std::uint32_t bits) noexcept {
    if (!anyoneWaits()) return 0;
    const LockGuard guard(boardLock());
    int woken = 0;
    while (woken < count) {
        Thread* first = nullptr;
        for (std::size_t i = 0; i < used_; ++i) {
            Thread& entry = threadTable[i];
            if (entry.state == State::waiting && entry.key == key && (entry.bits & bits) != 0 &&
                (first == nullptr || entry.turn < first->turn))
                first = &entry;
        }
        if (first == nullptr) break;
        makeReady(*first, WaitResult::woken);
        ++woken;
    }
    if (woken != 0 && holder_ == nullptr && !jumping_) dispatch();
    return woken;
}

void Scheduler::makeReady(Thread& thread, WaitResult result) noexcept {
    thread.state = State::ready;
    thread.result = result;
    thread.turn = nextTurn_++;
    waitingCount_.fetch_sub(1, std::memory_order_relaxed);
}

void Scheduler::yield() noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    wakeDue();
    me.state = State::ready;
    me.turn = nextTurn_++;
    leaveToken(me);
}

bool Scheduler::sliceIsSpent() const noexcept { return hooks_.rawNs() - sliceStartNs_ >= kSliceNs; }

void Scheduler::yieldWhenSliceIsSpent() noexcept {
    if (registered_ > 1 && sliceIsSpent()) yield();
}

bool Scheduler::beginExternal() noexcept {
    const LockGuard guard(boardLock());
    Thread* const me = callingThread;
    if (me == nullptr || holder_ != me || registered_ < 2) return false;
    me->state = State::external;
    ++externals_;
    holder_ = nullptr;
    dispatch();
    return true;
}

void Scheduler::endExternal() noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    --externals_;
    me.state = State::ready;
    me.turn = nextTurn_++;
    if (holder_ == nullptr) dispatch();
    awaitGrant(me);
}

// --------------------------------------------------------------------------------------------------- who runs next --

/// Gives up the token and returns once it is granted again. The caller has set its state to the reason.
void Scheduler::leaveToken(Thread& me) noexcept {
    if (holder_ == &me) holder_ = nullptr;
    if (holder_ == nullptr) dispatch();
    awaitGrant(me);
}

std::uint64_t Scheduler::dueAt(const Thread& thread) const noexcept {
    if (thread.deadline.clock == Deadline::Clock::none) return kNever;
    if (thread.deadline.clock == Deadline::Clock::raw) return thread.deadline.ns;
    // The system clock has its own rate and may be stepped: aim by its current reading and check again on arrival.
    const std::uint64_t systemNs = hooks_.systemNs();
    const std::uint64_t rawNs = hooks_.rawNs();
    return thread.deadline.ns <= systemNs ? rawNs : saturatingAdd(rawNs, thread.deadline.ns - systemNs);
}

void Scheduler::wakeDue() noexcept {
    const std::uint64_t now = hooks_.rawNs();
    for (;;) {  // in order of deadline, then of waiting time; table position must not matter
        Thread* first = nullptr;
        std::uint64_t firstAt = 0;
        for (std::size_t i = 0; i < used_; ++i) {
            Thread& entry = threadTable[i];
            if (entry.state != State::waiting) continue;
            const std::uint64_t at = dueAt(entry);
            if (at > now) continue;
            if (first == nullptr || at < firstAt || (at == firstAt && entry.turn < first->turn)) {
                first = &entry;
                firstAt = at;
            }
        }
        if (first == nullptr) return;
        makeReady(*first, WaitResult::timedOut);
    }
}

Scheduler::Thread* Scheduler::firstReady() noexcept {
    Thread* first = nullptr;
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threadTable[i];
        if (entry.state == State::ready && (first == nullptr || entry.turn < first->turn)) first = &entry;
    }
    return first;
}

/// Finds the next thread to run; time jumps while there is none. Called without a token holder.
void Scheduler::dispatch() noexcept {
    for (;;) {
        wakeDue();
        if (Thread* const next = firstReady()) {
            grant(*next);
            return;
        }
        std::uint64_t at = kNever;
        bool someoneWatchesTheModel = false;
        bool someoneHasADeadline = false;
        for (std::size_t i = 0; i < used_; ++i) {
            const Thread& entry = threadTable[i];
            if (entry.state != State::waiting) continue;
            at = std::min(at, dueAt(entry));
            someoneWatchesTheModel |= entry.key == modelKey();
            someoneHasADeadline |= entry.deadline.clock != Deadline::Clock::none;
        }
        // Without waiters the board's own changes would turn an idle program into a busy loop.
        if (someoneWatchesTheModel || someoneHasADeadline) at = std::min(at, hooks_.nextChangeNs());
        if (at == kNever) return;
        if (externals_ != 0) {
            appointKeeper(at);
            return;
        }
        jumpTo(at);
    }
}

void Scheduler::jumpTo(std::uint64_t rawNs) noexcept {
    jumping_ = true;
    hooks_.advanceTo(std::max(rawNs, hooks_.rawNs()));
    jumping_ = false;
}

void Scheduler::grant(Thread& thread) noexcept {
    thread.state = State::running;
    holder_ = &thread;
    keeper_ = nullptr;
    sliceStartNs_ = hooks_.rawNs();
    thread.word.fetch_add(1, std::memory_order_release);
    if (&thread != callingThread) futexWake(thread.word, 1);
}

/// While a thread blocks outside the board, virtual time must not outrun real time: one waiting thread keeps watch.
void Scheduler::appointKeeper(std::uint64_t atNs) noexcept {
    Thread* chosen = nullptr;
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threadTable[i];
        if (entry.state == State::waiting && (chosen == nullptr || dueAt(entry) < dueAt(*chosen))) chosen = &entry;
    }
    if (chosen == nullptr) return;
    const std::uint64_t rawNs = hooks_.rawNs();
    const std::uint64_t spanNs = atNs > rawNs ? atNs - rawNs : 0;
    constexpr std::uint64_t kOneHourNs = 3'600'000'000'000;
    keeper_ = chosen;
    keeperTargetNs_ = atNs;
    keeperUntilNs_ = realMonotonicNs() + static_cast<std::int64_t>(std::min(spanNs, kOneHourNs));
    chosen->word.fetch_add(1, std::memory_order_release);
    if (chosen != callingThread) futexWake(chosen->word, 1);
}

void Scheduler::awaitGrant(Thread& me) noexcept {
    while (me.state != State::running) {
        const std::uint32_t seen = me.word.load(std::memory_order_acquire);
        std::int64_t spanNs = -1;
        if (keeper_ == &me && holder_ == nullptr) {
            spanNs = keeperUntilNs_ - realMonotonicNs();
            if (spanNs <= 0) {
                keeper_ = nullptr;
                jumpTo(keeperTargetNs_);
                dispatch();
                continue;
            }
        }
        int outcome = 0;
        {
            const UnlockGuard released(boardLock());
            outcome = futexWait(me.word, seen, spanNs);
        }
        if (outcome == -EINTR && me.interruptible && me.state == State::waiting) {
            makeReady(me, WaitResult::interrupted);
            if (holder_ == nullptr) dispatch();
        }
    }
}

}  // namespace halvexboard
