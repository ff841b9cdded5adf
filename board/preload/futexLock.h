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

/// Sleeps while `word` holds `seen`; `timeoutNs` below 0 waits forever. Returns 0, -EINTR, -EAGAIN or -ETIMEDOUT.
inline int futexWait(std::atomic<std::uint32_t>& word, std::uint32_t seen, std::int64_t timeoutNs) noexcept {
    // Only a wait with a time-out reports every signal handler as EINTR, so "forever" is one day at a time.
    constexpr std::int64_t kOneDayNs = 86'400 * kNsPerSecond;
    const std::int64_t spanNs = timeoutNs < 0 ? kOneDayNs : timeoutNs;
    const timespec span{spanNs / kNsPerSecond, spanNs % kNsPerSecond};
    return static_cast<int>(rawSystemCall(SYS_futex, reinterpret_cast<long>(&word), FUTEX_WAIT_PRIVATE,
                                          static_cast<long>(seen), reinterpret_cast<long>(&span)));
}

inline void futexWake(std::atomic<std::uint32_t>& word, int count) noexcept {
    rawSystemCall(SYS_futex, reinterpret_cast<long>(&word), FUTEX_WAKE_PRIVATE, count);
}

/// Kernel id of the calling thread, fetched once per thread. Initial-exec storage: reading it never allocates.
inline std::uint32_t currentThreadId() noexcept {
    static thread_local std::uint32_t cachedId = 0;
    if (cachedId == 0) cachedId = static_cast<std::uint32_t>(rawSystemCall(SYS_gettid));
    return cachedId;
}

/// Guards the scheduler's tables, the descriptor table and the model. Recursive: a signal handler that interrupts a
/// shim may read a clock. Owns nothing. Threads: thread-safe. Never held while the program's own code or a blocking
/// call runs.
class CAPABILITY("mutex") FutexLock {
public:
    void lock() noexcept ACQUIRE() {
        const std::uint32_t me = currentThreadId();
        if (owner_.load(std::memory_order_relaxed) == me) {
            ++depth_;
            return;
        }
        std::uint32_t expected = kFree;
        if (!word_.compare_exchange_strong(expected, kHeld, std::memory_order_acquire)) {
            while (word_.exchange(kContended, std::memory_order_acquire) != kFree) futexWait(word_, kContended, -1);
        }
        owner_.store(me, std::memory_order_relaxed);
        depth_ = 1;
#ifdef HALVEXBOARD_THREAD_SANITIZER
        __tsan_acquire(&word_);
#endif
    }

    void unlock() noexcept RELEASE() {
        if (--depth_ != 0) return;
#ifdef HALVEXBOARD_THREAD_SANITIZER
        __tsan_release(&word_);
#endif
        owner_.store(0, std::memory_order_relaxed);
        if (word_.exchange(kFree, std::memory_order_release) == kContended) futexWake(word_, 1);
    }

    bool isMine() const noexcept { return owner_.load(std::memory_order_relaxed) == currentThreadId(); }

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

    /// Resets the lock in a forked child: threads that might have held it do not exist there.
    void resetAfterFork() noexcept RELEASE() {
        word_.store(kFree, std::memory_order_relaxed);
        owner_.store(0, std::memory_order_relaxed);
        depth_ = 0;
    }

private:
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kHeld = 1;
    static constexpr std::uint32_t kContended = 2;

    std::atomic<std::uint32_t> word_{kFree};
    std::atomic<std::uint32_t> owner_{0};
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
inline constinit FutexLock theBoardLock;
constexpr FutexLock& boardLock() noexcept RETURN_CAPABILITY(theBoardLock) { return theBoardLock; }

}  // namespace halvexboard
