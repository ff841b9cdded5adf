// The cooperative scheduler: which thread runs, what each waits for, and when virtual time may jump.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/scheduler.h"

#include <algorithm>

#include "board/preload/nanoseconds.h"

namespace halvexboard {

namespace {

std::int64_t realMonotonicNs() noexcept {
    timespec now{};
    rawSystemCall(SYS_clock_gettime, CLOCK_MONOTONIC, reinterpret_cast<long>(&now));
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

std::uint64_t saturatingAdd(std::uint64_t a, std::uint64_t b) noexcept { return a > kNever - b ? kNever : a + b; }

// Of this process.
thread_local Scheduler::Thread* callingThread = nullptr;
constinit TimeHooks hooks{};
std::uint16_t thisProcess = 0;

/// An address means something in its own process only, but for what the processes share.
bool isShared(const void* key) noexcept {
    const auto* const begin = reinterpret_cast<const char*>(schedulerInUse);
    const auto* const address = static_cast<const char*>(key);
    return address >= begin && address < begin + sizeof(Scheduler);
}

}  // namespace

Scheduler::Thread* Scheduler::self() noexcept { return callingThread; }

// ---------------------------------------------------------------------------------------------------------- threads --

void Scheduler::start(const TimeHooks& timeHooks) noexcept {
    const LockGuard guard(boardLock());
    join(timeHooks, 0);
    Thread& me = threads_[0];
    me.state = State::running;
    me.handle = pthread_self();
    me.named = true;
    me.detached = false;
    me.process = 0;
    me.id = currentThreadId();
    callingThread = &me;
    used_ = 1;
    registered_ = 1;
    externals_ = 0;
    holder_ = &me;
    keeper_ = nullptr;
    nextTurn_ = 1;
    sliceStartNs_ = hooks.rawNs();
    running_.store(true, std::memory_order_release);
}

void Scheduler::join(const TimeHooks& timeHooks, std::uint16_t process) noexcept {
    hooks = timeHooks;
    thisProcess = process;
}

void Scheduler::becomeProcess(std::uint16_t process) noexcept { thisProcess = process; }

void Scheduler::stop() noexcept {
    const LockGuard guard(boardLock());
    running_.store(false, std::memory_order_release);
    for (std::size_t i = 0; i < used_; ++i) threads_[i].state = State::unused;
    callingThread = nullptr;
    holder_ = nullptr;
    keeper_ = nullptr;
    registered_ = 0;
    used_ = 0;
}

Scheduler::Thread* Scheduler::prepareThread(void* (*body)(void*), void* argument, bool detached) noexcept {
    const LockGuard guard(boardLock());
    for (std::size_t i = 0; i < kMaxThreads; ++i) {
        Thread& entry = threads_[i];
        if (entry.state != State::unused) continue;
        entry.state = State::ready;
        entry.turn = nextTurn_++;
        entry.detached = detached;
        entry.named = false;
        entry.looks = false;
        entry.isPushedAside = false;
        entry.process = thisProcess;
        entry.id = 0;
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
    adopt(*thread);
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
    forget(*me, me->detached ? State::unused : State::left);
    wake(me, static_cast<int>(kMaxThreads));
    if (holder_ == nullptr) dispatch();
}

Scheduler::Thread* Scheduler::find(pthread_t handle) noexcept {
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threads_[i];
        if (entry.state != State::unused && entry.named && entry.process == thisProcess &&
            pthread_equal(entry.handle, handle) != 0)
            return &entry;
    }
    return nullptr;
}

bool Scheduler::awaitEnd(pthread_t handle, Deadline deadline, WaitResult& result) noexcept {
    const LockGuard guard(boardLock());
    Thread* const entry = find(handle);
    if (entry == nullptr || entry == callingThread) return false;  // self-join: the C library reports EDEADLK
    while (entry->state != State::left) {
        result = wait(entry, deadline, false);
        if (result == WaitResult::timedOut && entry->state != State::left) return true;
    }
    result = WaitResult::woken;
    entry->state = State::unused;
    return true;
}

void Scheduler::detach(pthread_t handle) noexcept {
    const LockGuard guard(boardLock());
    Thread* const entry = find(handle);
    if (entry == nullptr) return;
    entry->detached = true;
    if (entry->state == State::left) entry->state = State::unused;
}

// -------------------------------------------------------------------------------------------------------- processes --

void Scheduler::resetAfterFork() noexcept {
    for (Thread& entry : threads_) {
        if (&entry != callingThread && entry.state != State::unused) forget(entry, State::unused);
    }
    holder_ = callingThread;
    if (callingThread != nullptr) callingThread->state = State::running;
}

Scheduler::Thread* Scheduler::prepareProcess(std::uint16_t process) noexcept {
    Thread* const entry = prepareThread(nullptr, nullptr, true);
    if (entry != nullptr) entry->process = process;
    return entry;
}

void Scheduler::adopt(Thread& thread) noexcept {
    callingThread = &thread;
    thread.handle = pthread_self();
    thread.named = true;
    thread.id = currentThreadId();
    if (holder_ == nullptr) dispatch();
    awaitGrant(thread);
}

Scheduler::Thread* Scheduler::mainThreadOf(std::uint16_t process) noexcept {
    if (holder_ != nullptr && holder_->process == process) return holder_;
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threads_[i];
        if (entry.state != State::unused && entry.state != State::left && entry.process == process) return &entry;
    }
    return nullptr;
}

/// Takes a thread out of every account.
void Scheduler::forget(Thread& thread, State state) noexcept {
    if (thread.state == State::waiting) waitingCount_.fetch_sub(1, std::memory_order_relaxed);
    if (thread.state == State::external) --externals_;
    if (thread.state != State::left) --registered_;
    if (holder_ == &thread) holder_ = nullptr;
    if (keeper_ == &thread) keeper_ = nullptr;
    thread.state = state;
}

void Scheduler::retireProcess(std::uint16_t process, const Thread* except) noexcept {
    if (!isRunning()) return;
    if (process == thisProcess && except == nullptr) callingThread = nullptr;
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threads_[i];
        if (entry.state != State::unused && entry.process == process && &entry != except) forget(entry, State::unused);
    }
    if (holder_ == nullptr && !jumping_) dispatch();
}

void Scheduler::interrupt(std::uint16_t process) noexcept {
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threads_[i];
        if (entry.state == State::waiting && entry.process == process && entry.interruptible)
            makeReady(entry, WaitResult::interrupted);
    }
}

void Scheduler::pushAside() noexcept {
    Thread& thread = *holder_;
    thread.isPushedAside = true;
    thread.state = State::external;
    ++externals_;
    holder_ = nullptr;
    dispatch();
}

// ---------------------------------------------------------------------------------------------------------- waiting --

void Scheduler::prepareWait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits) noexcept {
    const LockGuard guard(boardLock());
    rejoin();
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
            Thread& entry = threads_[i];
            if (entry.state == State::waiting && entry.key == key && (entry.process == thisProcess || isShared(key)) &&
                (entry.bits & bits) != 0 && (first == nullptr || entry.turn < first->turn))
                first = &entry;
        }
        if (first == nullptr) break;
        makeReady(*first, WaitResult::woken);
        ++woken;
    }
    if (woken != 0 && holder_ == nullptr && !jumping_) dispatch();
    return woken;
}

WaitResult Scheduler::waitToLook(const void* key, Deadline deadline) noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    prepareWait(key, deadline, true);
    me.looks = true;
    me.lookedAt = grants_;
    const WaitResult result = commitWait();
    if (result != WaitResult::woken) me.looks = false;
    return result;
}

void Scheduler::endLooking() noexcept {
    const LockGuard guard(boardLock());
    Thread& me = *callingThread;
    if (!me.looks) return;
    me.looks = false;
    ++grants_;
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

bool Scheduler::sliceIsSpent() const noexcept { return hooks.rawNs() - sliceStartNs_ >= kSliceNs; }

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
    comeBack(*callingThread);
    awaitGrant(*callingThread);
}

void Scheduler::comeBack(Thread& thread) noexcept {
    --externals_;
    thread.state = State::ready;
    thread.turn = nextTurn_++;
    if (holder_ == nullptr) dispatch();
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
    const std::uint64_t systemNs = hooks.systemNs();
    const std::uint64_t rawNs = hooks.rawNs();
    return thread.deadline.ns <= systemNs ? rawNs : saturatingAdd(rawNs, thread.deadline.ns - systemNs);
}

void Scheduler::wakeDue() noexcept {
    const std::uint64_t now = hooks.rawNs();
    for (;;) {  // in order of deadline, then of waiting time; table position must not matter
        Thread* first = nullptr;
        std::uint64_t firstAt = 0;
        for (std::size_t i = 0; i < used_; ++i) {
            Thread& entry = threads_[i];
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
        Thread& entry = threads_[i];
        if (isRunnable(entry) && (first == nullptr || entry.turn < first->turn)) first = &entry;
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
            const Thread& entry = threads_[i];
            if (entry.state != State::waiting) continue;
            at = std::min(at, dueAt(entry));
            someoneWatchesTheModel |= entry.key == modelKey();
            someoneHasADeadline |= entry.deadline.clock != Deadline::Clock::none;
        }
        // Without waiters the board's own changes would turn an idle program into a busy loop.
        if (someoneWatchesTheModel || someoneHasADeadline) at = std::min(at, hooks.nextChangeNs());
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
    hooks.advanceTo(std::max(rawNs, hooks.rawNs()));
    jumping_ = false;
}

void Scheduler::grant(Thread& thread) noexcept {
    if (thread.state == State::waiting) makeReady(thread, WaitResult::woken);
    if (!thread.looks) ++grants_;
    thread.state = State::running;
    holder_ = &thread;
    keeper_ = nullptr;
    sliceStartNs_ = hooks.rawNs();
    thread.word.fetch_add(1, std::memory_order_release);
    if (&thread != callingThread) futexWake(thread.word, 1);
}

/// While a thread blocks outside the board, virtual time must not outrun real time: one waiting thread keeps watch.
void Scheduler::appointKeeper(std::uint64_t atNs) noexcept {
    Thread* chosen = nullptr;
    for (std::size_t i = 0; i < used_; ++i) {
        Thread& entry = threads_[i];
        if (entry.state == State::waiting && (chosen == nullptr || dueAt(entry) < dueAt(*chosen))) chosen = &entry;
    }
    if (chosen == nullptr) return;
    const std::uint64_t rawNs = hooks.rawNs();
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
        if (me.isPushedAside.exchange(false)) comeBack(me);  // its process was stopped
        const std::uint32_t seen = me.word.load(std::memory_order_acquire);
        std::int64_t spanNs = isBoardShared() ? kHeartbeatNs : -1;
        if (keeper_ == &me && holder_ == nullptr) {
            const std::int64_t leftNs = keeperUntilNs_ - realMonotonicNs();
            spanNs = spanNs < 0 ? leftNs : std::min(spanNs, leftNs);
            if (leftNs <= 0) {
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
        if (outcome != -ETIMEDOUT || !isBoardShared()) continue;
        hooks.lookAfterOthers();
        if (holder_ != nullptr || me.state != State::waiting || !me.looks) continue;
        makeReady(me, WaitResult::woken);  // it may wait for the outside world, for all that
        dispatch();
    }
    if (isBoardShared()) hooks.beginTurn();
}

}  // namespace halvexboard
