// The cooperative scheduler: runs one thread of all programs on the board at a time; virtual time jumps when all wait.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

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
    /// A thread has waited for kHeartbeatNs of real time: the process of the one that runs may have died.
    void (*lookAfterOthers)() noexcept;
    /// A thread has been given the token and is about to use it.
    void (*beginTurn)() noexcept;
};

inline constexpr std::uint64_t kNever = ~std::uint64_t{0};

/// Passes one token from thread to thread. A thread runs until it waits in here, ends, or has used up its slice of
/// virtual time; the next one depends only on the order of those hand-overs, so that equal runs are equal to the last
/// call. Owns: the thread table, of fixed size; all zero is its initial state. Lives in memory that the processes of a
/// board share at one address. Threads: thread-safe; an unregistered thread (started by means the shim does not see) is
/// "foreign", runs freely and waits with the C library's own functions. Failure: if the table is full, further threads
/// are foreign.
class Scheduler {
public:
    static constexpr std::size_t kMaxThreads = 256;
    static constexpr std::size_t kMaxProcesses = 64;
    /// Virtual time after which a running thread yields.
    static constexpr std::uint64_t kSliceNs = 100'000;

    enum class State : std::uint8_t {
        unused,
        ready,     // runnable, waits for the token
        running,   // has the token
        waiting,   // waits for a key, a deadline or both
        external,  // in a call that may block outside the board
        left,      // finished, not yet joined
    };

    struct Thread {
        std::atomic<std::uint32_t> word{};  // changes whenever the thread must re-check its state
        std::atomic<bool> isPushedAside{};
        State state GUARDED_BY(boardLock()){};
        bool detached GUARDED_BY(boardLock()){};
        bool interruptible GUARDED_BY(boardLock()){};
        bool named GUARDED_BY(boardLock()){};
        bool looks GUARDED_BY(boardLock()){};  // waits for what only it can see: looks again once others have run
        WaitResult result GUARDED_BY(boardLock()){};
        std::uint16_t process GUARDED_BY(boardLock()){};  // its position in the table of processes
        std::uint32_t bits GUARDED_BY(boardLock()){};
        std::uint32_t id GUARDED_BY(boardLock()){};  // the kernel's
        const void* key GUARDED_BY(boardLock()){};
        Deadline deadline GUARDED_BY(boardLock()){};
        std::uint64_t turn GUARDED_BY(boardLock()){};  // smaller runs first
        std::uint64_t lookedAt GUARDED_BY(boardLock()){};
        pthread_t handle GUARDED_BY(boardLock()){};
        void* (*body)(void*) = nullptr;
        void* argument = nullptr;
    };

    /// Registers the calling thread, of the first process, and gives it the token.
    void start(const TimeHooks& hooks) noexcept;
    /// Another process comes to the board that the first has started.
    static void join(const TimeHooks& hooks, std::uint16_t process) noexcept;
    /// In a forked child.
    static void becomeProcess(std::uint16_t process) noexcept;
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

    // --- processes; each returns or takes the entry of a process's first thread ---
    /// Reserves an entry for the first thread of a process about to be started; null if the table is full.
    Thread* prepareProcess(std::uint16_t process) noexcept REQUIRES(boardLock());
    /// Makes the entry the calling thread's and waits for its turn.
    void adopt(Thread& thread) noexcept REQUIRES(boardLock());
    /// The entry of the process that holds the token, or any; null without one.
    Thread* mainThreadOf(std::uint16_t process) noexcept REQUIRES(boardLock());
    /// Removes all threads of a process that has ended but `except`; the token goes to another.
    void retireProcess(std::uint16_t process, const Thread* except = nullptr) noexcept REQUIRES(boardLock());
    /// Ends the interruptible waits of a process, as a signal does.
    void interrupt(std::uint16_t process) noexcept REQUIRES(boardLock());
    /// The thread that has the token; null while none does.
    Thread* holder() noexcept REQUIRES(boardLock()) { return holder_; }
    /// Whether the same thread has had the token ever since this was last asked.
    bool hasHeldSinceLastLook() noexcept REQUIRES(boardLock()) {
        return std::exchange(grantsAtLook_, grants_) == grants_;
    }
    /// Takes the token from its holder, which blocks in a call that no shim sees. It waits for another at its next one.
    void pushAside() noexcept REQUIRES(boardLock());

    // --- waiting; callers are registered and hold the token ---
    /// Waits until wake() names `key`. A null key waits for the deadline only.
    WaitResult wait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits = ~0U) noexcept;
    /// The same in two halves, for waits that release something in between.
    void prepareWait(const void* key, Deadline deadline, bool interruptible, std::uint32_t bits = ~0U) noexcept;
    WaitResult commitWait() noexcept;
    /// A wait also for what only the caller can see, data in a pipe from another process, say: it ends once other
    /// threads have run.
    WaitResult waitToLook(const void* key, Deadline deadline) noexcept;
    /// The caller saw what it waited for, or looks no more.
    void endLooking() noexcept;
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
    /// Waits for the token if it was taken from the caller.
    void rejoin() noexcept {
        if (Thread* const me = self(); me != nullptr && me->isPushedAside.exchange(false)) endExternal();
    }

    /// Whether any other registered thread exists. Requires the token.
    bool hasOthers() const noexcept { return registered_ > 1; }

    /// Keeps only the forking thread, in the child.
    void resetAfterFork() noexcept REQUIRES(boardLock());

    /// The key of waits for model changes.
    const void* modelKey() const noexcept { return &modelKey_; }
    /// The key of waits for a child of this process to end.
    const void* childKey(std::uint16_t process) const noexcept { return &childKeys_[process]; }

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
    bool isRunnable(const Thread& thread) const noexcept REQUIRES(boardLock()) {
        return thread.state == State::ready ||
               (thread.state == State::waiting && thread.looks && thread.lookedAt != grants_);
    }
    void comeBack(Thread& thread) noexcept REQUIRES(boardLock());
    void forget(Thread& thread, State state) noexcept REQUIRES(boardLock());
    Thread* find(pthread_t handle) noexcept REQUIRES(boardLock());

    std::atomic<bool> running_{};
    std::atomic<int> waitingCount_{};
    Thread* holder_ GUARDED_BY(boardLock()){};
    Thread* keeper_ GUARDED_BY(boardLock()){};
    std::uint64_t keeperTargetNs_ GUARDED_BY(boardLock()){};
    std::int64_t keeperUntilNs_ GUARDED_BY(boardLock()){};
    std::uint64_t nextTurn_ GUARDED_BY(boardLock()){};
    std::uint64_t grants_ GUARDED_BY(boardLock()){};  // to threads that do not merely look
    std::uint64_t grantsAtLook_ GUARDED_BY(boardLock()){};
    std::uint64_t sliceStartNs_{};
    std::size_t used_ GUARDED_BY(boardLock()){};
    int registered_{};
    int externals_ GUARDED_BY(boardLock()){};
    bool jumping_ GUARDED_BY(boardLock()){};  // threads readied by the jump are collected once, afterwards
    char modelKey_{};
    char childKeys_[kMaxProcesses]{};
    Thread threads_[kMaxThreads] GUARDED_BY(boardLock()){};
};

/// The scheduler of the board.
inline constinit Scheduler ownScheduler{};
inline constinit Scheduler* schedulerInUse = &ownScheduler;  ///< Elsewhere for a board that processes share.
inline Scheduler& scheduler() noexcept { return *schedulerInUse; }

}  // namespace halvexboard
