// The board's internal lock, and the two futex operations behind all its waits.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include "board/preload/nanoseconds.h"
#include "locks/annotatedLocks.h"

#ifdef HALVEXBOARD_THREAD_SANITIZER
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace halvexboard {

/// A direct system call: libc's `syscall` is itself interposed. Returns -errno on failure.
inline long rawSystemCall(long number, long a = 0, long b = 0, long c = 0, long d = 0, long e = 0,
                          long f = 0) noexcept {
    register long r10 asm("r10") = d;
    register long r8 asm("r8") = e;
    register long r9 asm("r9") = f;
    long result = 0;
    asm volatile("syscall"
                 : "=a"(result)
                 : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
                 : "rcx", "r11", "memory");
    return result;
}

/// FUTEX_PRIVATE_FLAG while this process has the board for itself; 0 once it shares one.
inline constinit int futexScope = FUTEX_PRIVATE_FLAG;
inline bool isBoardShared() noexcept { return futexScope == 0; }

/// Sleeps while `word` holds `seen`; `timeoutNs` below 0 waits forever. Returns 0, -EINTR, -EAGAIN or -ETIMEDOUT.
inline int futexWait(std::atomic<std::uint32_t>& word, std::uint32_t seen, std::int64_t timeoutNs) noexcept {
    // Only a wait with a time-out reports every signal handler as EINTR, so "forever" is one day at a time.
    constexpr std::int64_t kOneDayNs = 86'400 * kNsPerSecond;
    const std::int64_t spanNs = timeoutNs < 0 ? kOneDayNs : timeoutNs;
    const timespec span{spanNs / kNsPerSecond, spanNs % kNsPerSecond};
    return static_cast<int>(rawSystemCall(SYS_futex, reinterpret_cast<long>(&word), FUTEX_WAIT | futexScope,
                                          static_cast<long>(seen), reinterpret_cast<long>(&span)));
}

inline void futexWake(std::atomic<std::uint32_t>& word, int count) noexcept {
    rawSystemCall(SYS_futex, reinterpret_cast<long>(&word), FUTEX_WAKE | futexScope, count);
}

/// Kernel id of the calling thread, fetched once per thread; a forked child sets it to 0. Initial-exec storage: reading
/// it never allocates.
inline thread_local std::uint32_t cachedThreadId = 0;
inline std::uint32_t currentThreadId() noexcept {
    if (cachedThreadId == 0) cachedThreadId = static_cast<std::uint32_t>(rawSystemCall(SYS_gettid));
    return cachedThreadId;
}

/// How often a process that waits looks whether the one it waits for is still there.
inline constexpr std::int64_t kHeartbeatNs = 50 * kNsPerMillisecond;

/// Whether the thread or process has ended; a zombie has. An unreadable one counts as alive.
bool hasDied(std::uint32_t threadId) noexcept;

/// Guards the scheduler's tables, the descriptor table and the model. Recursive: a signal handler that interrupts a
/// shim may read a clock. Owns nothing. Threads: thread-safe. Never held while the program's own code or a blocking
/// call runs.
class CAPABILITY("mutex") FutexLock {
public:
    void lock() noexcept ACQUIRE() {
        const std::uint32_t me = currentThreadId();
        if (isMine()) {
            ++depth_;
            return;
        }
        std::uint32_t seen = kFree;
        if (!holder_.compare_exchange_strong(seen, me, std::memory_order_acquire)) takeContended(me);
        depth_ = 1;
#ifdef HALVEXBOARD_THREAD_SANITIZER
        __tsan_acquire(&holder_);
#endif
    }

    void unlock() noexcept RELEASE() {
        if (--depth_ != 0) return;
#ifdef HALVEXBOARD_THREAD_SANITIZER
        __tsan_release(&holder_);
#endif
        if ((holder_.exchange(kFree, std::memory_order_release) & kAwaited) != 0) futexWake(holder_, 1);
    }

    bool isMine() const noexcept { return (holder_.load(std::memory_order_relaxed) & ~kAwaited) == currentThreadId(); }

    /// Releases all levels at once; returns their number for retake().
    std::uint32_t releaseAll() noexcept RELEASE() {
        const std::uint32_t depth = depth_;
        depth_ = 1;
        unlock();
        return depth;
    }

    void retake(std::uint32_t depth) noexcept ACQUIRE() {
        lock();
        depth_ = depth;
    }

    /// Resets the lock in a forked child with a board of its own: threads that might have held it do not exist there.
    void resetAfterFork() noexcept RELEASE() {
        holder_.store(kFree, std::memory_order_relaxed);
        depth_ = 0;
    }

private:
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kAwaited = 0x8000'0000;  // beside the holder's id, as in the kernel's robust futexes

    void takeContended(std::uint32_t me) noexcept {
        for (;;) {
            std::uint32_t seen = kFree;
            if (holder_.compare_exchange_strong(seen, me | kAwaited, std::memory_order_acquire)) return;
            const std::uint32_t awaited = seen | kAwaited;
            if (seen != awaited && !holder_.compare_exchange_strong(seen, awaited, std::memory_order_relaxed)) continue;
            const int outcome = futexWait(holder_, awaited, isBoardShared() ? kHeartbeatNs : -1);
            // A process that was killed in the middle of a call has left it held.
            std::uint32_t dead = awaited;
            if (outcome == -ETIMEDOUT && holder_.load(std::memory_order_relaxed) == awaited &&
                hasDied(awaited & ~kAwaited))
                holder_.compare_exchange_strong(dead, kFree, std::memory_order_relaxed);
        }
    }

    std::atomic<std::uint32_t> holder_{kFree};  // kernel id of the thread
    std::uint32_t depth_ = 0;
};

using locks::LockGuard;

/// Releases a held lock for a scope, at any depth, then acquires it again.
class SCOPED_CAPABILITY UnlockGuard {
public:
    explicit UnlockGuard(FutexLock& lock) noexcept RELEASE(lock) : lock_(lock), depth_(lock.releaseAll()) {}
    ~UnlockGuard() RELEASE() { lock_.retake(depth_); }
    UnlockGuard(const UnlockGuard&) = delete;
    UnlockGuard& operator=(const UnlockGuard&) = delete;

private:
    FutexLock& lock_;
    std::uint32_t depth_;
};

/// The board's internal lock, shared by scheduler, descriptor table and model. Constant-initialised: usable before any
/// constructor runs.
inline constinit FutexLock ownBoardLock;
inline constinit FutexLock* boardLockInUse = &ownBoardLock;  ///< Elsewhere for a board that processes share.
inline FutexLock& boardLock() noexcept RETURN_CAPABILITY(*boardLockInUse) { return *boardLockInUse; }

}  // namespace halvexboard
