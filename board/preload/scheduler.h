// The cooperative scheduler: runs one thread of the program at a time; virtual time jumps when all of them wait.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/preload/futexLock.h"

namespace halvexboard {

/// Instant at which a wait times out.
struct Deadline {
    enum class Clock : std::uint8_t { none, raw, system };

    Clock clock = Clock::none;
    std::uint64_t ns = 0;  ///< Instant of that clock, in ns.

    static constexpr Deadline never() noexcept { return {}; }
    static constexpr Deadline atRaw(std::uint64_t rawNs) noexcept { return {Clock::raw, rawNs}; }
    /// By the simulated system clock: steps of that clock move the deadline.
    static constexpr Deadline atSystem(std::uint64_t systemNs) noexcept { return {Clock::system, systemNs}; }
};

enum class WaitResult : std::uint8_t { woken, timedOut, interrupted };

/// Callbacks to the owner of time. All are called with the lock held.
struct TimeHooks {
    std::uint64_t (*rawNs)() noexcept;
    std::uint64_t (*systemNs)() noexcept;
    std::uint64_t (*nextChangeNs)() noexcept;  ///< Raw instant at which the model changes by itself, kNever if never.
    void (*advanceTo)(std::uint64_t rawNs) noexcept;  ///< Jumps, carrying out what is due.
};

inline constexpr std::uint64_t kNever = ~std::uint64_t{0};

/// Passes one token from thread to thread. A thread runs until it waits in here, ends, or has used up its slice of
/// virtual time; the next one depends only on the order of those hand-overs, so that equal runs are equal to the last
/// call. Owns: the thread table, of fixed size. Threads: thread-safe; an unregistered thread (started by means the shim
/// does not see) is "foreign", runs freely and waits with the C library's own functions. Failure: if the table is full,
/// further threads are foreign.
class Scheduler {
public:
    static constexpr std::size_t kMaxThreads = 256;
    /// Virtual time after which a running thread yields.
    static constexpr std::uint64_t kSliceNs = 100'000;

    struct Thread;

    /// Registers the calling thread and gives it the token.
    void start(const TimeHooks& hooks) noexcept;
    /// Drops all threads. The caller must be the only registered thread left.
    void stop() noexcept;
    bool isRunning() const noexcept { return running_.load(std::memory_order_acquire); }

    /// The caller's entry, or null for a foreign thread.
    static Thread* self() noexcept;

    // --- threads ---
    /// Reserves an entry for a thread about to be created; null if the table is full.
    Thread* prepareThread(void* (*body)(void*), void* argument, bool detached) noexcept;
    void abandonThread(Thread* thread) noexcept;
    void nameThread(Thread* thread, pthread_t handle) noexcept;
    /// First call of a new thread: waits for its first turn. Returns what it must run.
    void enterThread(Thread* thread) noexcept;
    static void runThread(Thread* thread, void* (*&body)(void*), void*& argument) noexcept;
    /// Last call of a registered thread; it is foreign afterwards.
    void leaveThread() noexcept;
    /// Waits until the thread has left. Returns true if it was registered (its entry is then free).
    bool awaitEnd(pthread_t handle, Deadline deadline, WaitResult& result) noexcept;
    void detach(pthread_t handle) noexcept;

    // --- waiting; callers are registered and hold the token ---
    /// Waits until wake() names `key`. A null key waits for the deadline only.
    WaitResult wait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits = ~0U) noexcept;
    /// The same in two halves, for waits that release something in between.
    void prepareWait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits = ~0U) noexcept;
    WaitResult commitWait() noexcept;
    /// Instead of commitWait(): nothing to wait for.
    void cancelWait() noexcept;
    /// Readies up to `count` waiters of `key`, longest waiting first. Returns their number.
    int wake(const void* key, int count, std::uint32_t bits = ~0U) noexcept;
    bool anyoneWaits() const noexcept { return waitingCount_.load(std::memory_order_relaxed) != 0; }
    /// Lets every other ready thread run first.
    void yield() noexcept;
    /// yield(), if the slice is used up and another thread is ready.
    void yieldWhenSliceIsSpent() noexcept;
    bool sliceIsSpent() const noexcept;

    // --- calls that block outside the board ---
    /// Gives up the token for a call that may block. Returns false if no other thread could run.
    bool beginExternal() noexcept;
    void endExternal() noexcept;

    /// Whether any other registered thread exists. Requires the token.
    bool hasOthers() const noexcept { return registered_ > 1; }

    /// Keeps only the forking thread, in the child.
    void resetAfterFork() noexcept REQUIRES(boardLock());

    /// The key of waits for model changes.
    const void* modelKey() const noexcept { return &modelKey_; }

private:
    void makeReady(Thread& thread, WaitResult result) noexcept REQUIRES(boardLock());
    void wakeDue() noexcept REQUIRES(boardLock());
    std::uint64_t dueAt(const Thread& thread) const noexcept REQUIRES(boardLock());
    Thread* firstReady() noexcept REQUIRES(boardLock());
    void dispatch() noexcept REQUIRES(boardLock());
    void grant(Thread& thread) noexcept REQUIRES(boardLock());
    void appointKeeper(std::uint64_t atNs) noexcept REQUIRES(boardLock());
    void jumpTo(std::uint64_t rawNs) noexcept REQUIRES(boardLock());
    void awaitGrant(Thread& me) noexcept REQUIRES(boardLock());
    void leaveToken(Thread& me) noexcept REQUIRES(boardLock());

    TimeHooks hooks_{};
    std::atomic<bool> running_{false};
    std::atomic<int> waitingCount_{0};
    Thread* holder_ GUARDED_BY(boardLock()) = nullptr;
    Thread* keeper_ GUARDED_BY(boardLock()) = nullptr;
    std::uint64_t keeperTargetNs_ GUARDED_BY(boardLock()) = 0;
    std::int64_t keeperUntilNs_ GUARDED_BY(boardLock()) = 0;
    std::uint64_t nextTurn_ GUARDED_BY(boardLock()) = 1;
    std::uint64_t sliceStartNs_ = 0;
    std::size_t used_ GUARDED_BY(boardLock()) = 0;
    int registered_ = 0;
    int externals_ GUARDED_BY(boardLock()) = 0;
    bool jumping_ GUARDED_BY(boardLock()) = false;  // threads readied by the jump are collected once, afterwards
    char modelKey_ = 0;
};

/// The scheduler of the process.
Scheduler& scheduler() noexcept;

}  // namespace halvexboard
