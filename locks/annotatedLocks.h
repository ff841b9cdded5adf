// Lock types and annotations for clang's thread-safety analysis.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <chrono>
#include <mutex>

// Named as in clang's documentation; empty for other compilers. ./dev lint threads checks them.
#ifdef __clang__
#define HALVEX_ATTRIBUTE(...) __attribute__((__VA_ARGS__))
#else
#define HALVEX_ATTRIBUTE(...)
#endif
#define CAPABILITY(name) HALVEX_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY HALVEX_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(lock) HALVEX_ATTRIBUTE(guarded_by(lock))
#define PT_GUARDED_BY(lock) HALVEX_ATTRIBUTE(pt_guarded_by(lock))
#define REQUIRES(...) HALVEX_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) HALVEX_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) HALVEX_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) HALVEX_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(lock) HALVEX_ATTRIBUTE(lock_returned(lock))
#define NO_THREAD_SAFETY_ANALYSIS HALVEX_ATTRIBUTE(no_thread_safety_analysis)

namespace locks {

/// std::mutex with annotations, which the standard library lacks.
template <typename Standard>
class CAPABILITY("mutex") Annotated : public Standard {
public:
    void lock() ACQUIRE() { Standard::lock(); }
    void unlock() RELEASE() { Standard::unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return Standard::try_lock(); }
    bool try_lock_for(std::chrono::milliseconds timeout) TRY_ACQUIRE(true) { return Standard::try_lock_for(timeout); }
};

using Mutex = Annotated<std::mutex>;
using TimedMutex = Annotated<std::timed_mutex>;

/// Holds a lock of any kind for a scope. Failure: throws what locking throws.
template <typename Lock>
class SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(Lock& lock) ACQUIRE(lock) : lock_(lock) { lock.lock(); }
    LockGuard(Lock& lock, std::adopt_lock_t /*isHeld*/) REQUIRES(lock) : lock_(lock) {}
    ~LockGuard() RELEASE() { lock_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lock& lock_;
};

}  // namespace locks
