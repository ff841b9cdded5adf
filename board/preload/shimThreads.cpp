// Shims: threads, mutexes, condition variables and everything else that threads wait for each other with.
// An object of its own: a thread sanitizer intercepts the same names and cannot live with this one beside it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdarg>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadShims.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

HALVEXBOARD_REAL(pthread_create);
HALVEXBOARD_REAL(pthread_join);
HALVEXBOARD_REAL(pthread_tryjoin_np);
HALVEXBOARD_REAL(pthread_timedjoin_np);
HALVEXBOARD_REAL(pthread_clockjoin_np);
HALVEXBOARD_REAL(pthread_detach);
HALVEXBOARD_REAL(pthread_mutex_lock);
HALVEXBOARD_REAL(pthread_mutex_trylock);
HALVEXBOARD_REAL(pthread_mutex_timedlock);
HALVEXBOARD_REAL(pthread_mutex_clocklock);
HALVEXBOARD_REAL(pthread_mutex_unlock);
HALVEXBOARD_REAL(pthread_rwlock_rdlock);
HALVEXBOARD_REAL(pthread_rwlock_wrlock);
HALVEXBOARD_REAL(pthread_rwlock_tryrdlock);
HALVEXBOARD_REAL(pthread_rwlock_trywrlock);
HALVEXBOARD_REAL(pthread_rwlock_timedrdlock);
HALVEXBOARD_REAL(pthread_rwlock_timedwrlock);
HALVEXBOARD_REAL(pthread_rwlock_clockrdlock);
HALVEXBOARD_REAL(pthread_rwlock_clockwrlock);
HALVEXBOARD_REAL(pthread_rwlock_unlock);
HALVEXBOARD_REAL(pthread_barrier_wait);
HALVEXBOARD_REAL(pthread_once);
HALVEXBOARD_REAL(sem_wait);
HALVEXBOARD_REAL(sem_trywait);
HALVEXBOARD_REAL(sem_timedwait);
HALVEXBOARD_REAL(sem_clockwait);
HALVEXBOARD_REAL(sem_post);
HALVEXBOARD_REAL(syscall);

// The older functions under these names work on a condition variable of another layout.
#define HALVEXBOARD_REAL_CONDITION(NAME) \
    constinit halvexboard::RealCall<decltype(::NAME)> real_##NAME { #NAME, "GLIBC_2.3.2" }
HALVEXBOARD_REAL_CONDITION(pthread_cond_wait);
HALVEXBOARD_REAL_CONDITION(pthread_cond_timedwait);
HALVEXBOARD_REAL_CONDITION(pthread_cond_signal);
HALVEXBOARD_REAL_CONDITION(pthread_cond_broadcast);
HALVEXBOARD_REAL(pthread_cond_clockwait);

constexpr int kEveryone = INT_MAX;

// ------------------------------------------------------------------------------------------------- a thread's life --

pthread_key_t leaveKey;
bool hasLeaveKey = false;

/// Runs when a thread ends, in whatever way. Puts itself off to the last round, so that other destructors keep the
/// token.
void leave(void* round) {
    const auto done = reinterpret_cast<std::intptr_t>(round);
    if (done < PTHREAD_DESTRUCTOR_ITERATIONS) {
        pthread_setspecific(leaveKey, reinterpret_cast<void*>(done + 1));
        return;
    }
    scheduler().leaveThread();
}

void* runScheduled(void* argument) {
    auto* const thread = static_cast<Scheduler::Thread*>(argument);
    void* (*body)(void*) = nullptr;
    void* bodyArgument = nullptr;
    Scheduler::runThread(thread, body, bodyArgument);
    pthread_setspecific(leaveKey, reinterpret_cast<void*>(std::intptr_t{1}));
    scheduler().enterThread(thread);
    return body(bodyArgument);
}

bool isDetached(const pthread_attr_t* attributes) noexcept {
    int state = PTHREAD_CREATE_JOINABLE;
    if (attributes != nullptr) pthread_attr_getdetachstate(attributes, &state);
    return state == PTHREAD_CREATE_DETACHED;
}

/// Joins through the scheduler: 0 when the thread has left (and only the real join is to be done), or ETIMEDOUT.
int awaitThread(pthread_t thread, Deadline deadline) noexcept {
    WaitResult result = WaitResult::woken;
    if (scheduler().awaitEnd(thread, deadline, result) && result == WaitResult::timedOut) return ETIMEDOUT;
    return 0;
}

// ------------------------------------------------------------------------------------------------ trying and waiting
// --

/// Tries until it works, waiting in between for whoever lets go of `key`. What `attempt` returns when it is busy is
/// `busy`.
template <typename Attempt>
int tryUntil(const void* key, int busy, Deadline deadline, Attempt attempt) noexcept {
    for (;;) {
        const int result = attempt();
        if (result != busy) return result;
        if (hasPassed(deadline)) return ETIMEDOUT;
        // A thread outside the scheduler may let go between the attempt and the wait: announce the wait, then try
        // again.
        scheduler().prepareWait(key, deadline, false);
        const int second = attempt();
        if (second != busy) {
            scheduler().cancelWait();
            return second;
        }
        scheduler().commitWait();
    }
}

void wakeWaiters(const void* key, int count) noexcept {
    if (isActive() && scheduler().isRunning() && scheduler().anyoneWaits()) scheduler().wake(key, count);
}

/// The thread would wait for itself, and the kind of mutex says so instead.
bool wouldReportDeadlock(const pthread_mutex_t& mutex) noexcept {
    constexpr int kKindMask = 3;
    return (mutex.__data.__kind & kKindMask) == PTHREAD_MUTEX_ERRORCHECK_NP &&
           static_cast<std::uint32_t>(mutex.__data.__owner) == currentThreadId();
}

int lockMutex(pthread_mutex_t* mutex, Deadline deadline) noexcept {
    if (wouldReportDeadlock(*mutex)) return real_pthread_mutex_lock(mutex);
    return tryUntil(mutex, EBUSY, deadline, [mutex] { return real_pthread_mutex_trylock(mutex); });
}

int unlockMutex(pthread_mutex_t* mutex) noexcept {
    const int result = real_pthread_mutex_unlock(mutex);
    wakeWaiters(mutex, 1);
    return result;
}

/// The clock that the variable's attributes named; glibc keeps it in the second bit of the waiters' word.
clockid_t clockOf(const pthread_cond_t& condition) noexcept {
    constexpr unsigned kMonotonicBit = 2;
    return (condition.__data.__wrefs & kMonotonicBit) != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME;
}

int waitOnCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, Deadline deadline) noexcept {
    scheduler().prepareWait(condition, deadline, false);
    unlockMutex(mutex);
    const WaitResult result = scheduler().commitWait();
    lockMutex(mutex, Deadline::never());
    return result == WaitResult::timedOut ? ETIMEDOUT : 0;
}

/// In real time only the simulated system clock differs from the machine's: such deadlines move over to the monotonic
/// clock.
bool isOnSimulatedClock(clockid_t clock) noexcept { return isActive() && !isTimeVirtual() && clock == CLOCK_REALTIME; }

timespec onMonotonicClock(const timespec& instant) noexcept {
    const std::uint64_t now = systemNow();
    const std::uint64_t at = instant.tv_sec < 0 ? 0 : toNs(instant);
    return toTimespec(monotonicNow() + (at > now ? at - now : 0));
}

}  // namespace

namespace halvexboard {

void prepareThreadShims() noexcept {
    if (!hasLeaveKey) hasLeaveKey = pthread_key_create(&leaveKey, leave) == 0;
}

bool hasThreadShims() noexcept { return true; }

}  // namespace halvexboard

// ----------------------------------------------------------------------------------------------------------- threads
// --

HALVEXBOARD_SHIM int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                                    void* argument) noexcept {
    Scheduler::Thread* const thread =
        isScheduled() ? scheduler().prepareThread(body, argument, isDetached(attributes)) : nullptr;
    if (thread == nullptr) return real_pthread_create(handle, attributes, body, argument);
    const int result = real_pthread_create(handle, attributes, runScheduled, thread);
    if (result != 0)
        scheduler().abandonThread(thread);
    else
        scheduler().nameThread(thread, *handle);
    return result;
}

HALVEXBOARD_SHIM int pthread_join(pthread_t thread, void** result) {
    pthread_testcancel();
    if (isScheduled()) awaitThread(thread, Deadline::never());
    return real_pthread_join(thread, result);
}

HALVEXBOARD_SHIM int pthread_tryjoin_np(pthread_t thread, void** result) noexcept {
    if (isScheduled() && awaitThread(thread, Deadline::atRaw(0)) == ETIMEDOUT) return EBUSY;
    return isScheduled() ? real_pthread_join(thread, result) : real_pthread_tryjoin_np(thread, result);
}

HALVEXBOARD_SHIM int pthread_timedjoin_np(pthread_t thread, void** result, const timespec* until) {
    pthread_testcancel();
    if (!isScheduled() || until == nullptr) return real_pthread_timedjoin_np(thread, result, until);
    const int outcome = awaitThread(thread, deadlineAt(CLOCK_REALTIME, *until));
    return outcome != 0 ? outcome : real_pthread_join(thread, result);
}

HALVEXBOARD_SHIM int pthread_clockjoin_np(pthread_t thread, void** result, clockid_t clock, const timespec* until) {
    pthread_testcancel();
    if (!isScheduled() || until == nullptr) return real_pthread_clockjoin_np(thread, result, clock, until);
    const int outcome = awaitThread(thread, deadlineAt(clock, *until));
    return outcome != 0 ? outcome : real_pthread_join(thread, result);
}

HALVEXBOARD_SHIM int pthread_detach(pthread_t thread) noexcept {
    if (scheduler().isRunning()) scheduler().detach(thread);
    return real_pthread_detach(thread);
}

// ----------------------------------------------------------------------------------------------------------- mutexes
// --

HALVEXBOARD_SHIM int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    return isScheduled() ? lockMutex(mutex, Deadline::never()) : real_pthread_mutex_lock(mutex);
}

HALVEXBOARD_SHIM int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until) noexcept {
    if (isOnSimulatedClock(clock)) {
        const timespec monotonic = onMonotonicClock(*until);
        return real_pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &monotonic);
    }
    if (!isScheduled()) return real_pthread_mutex_clocklock(mutex, clock, until);
    const int first = real_pthread_mutex_trylock(mutex);
    if (first != EBUSY) return first;
    return isValid(*until) ? lockMutex(mutex, deadlineAt(clock, *until)) : EINVAL;
}

HALVEXBOARD_SHIM int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* until) noexcept {
    if (isScheduled() || isOnSimulatedClock(CLOCK_REALTIME))
        return pthread_mutex_clocklock(mutex, CLOCK_REALTIME, until);
    return real_pthread_mutex_timedlock(mutex, until);
}

HALVEXBOARD_SHIM int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int result = unlockMutex(mutex);
    // Whoever waits for the mutex gets a turn once the slice is over, even if this thread would take it again at once.
    if (isScheduled() && scheduler().anyoneWaits()) scheduler().yieldWhenSliceIsSpent();
    return result;
}

// ----------------------------------------------------------------------------------------------- condition variables
// --

HALVEXBOARD_SHIM int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    pthread_testcancel();
    return isScheduled() ? waitOnCondition(condition, mutex, Deadline::never())
                         : real_pthread_cond_wait(condition, mutex);
}

HALVEXBOARD_SHIM int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                            const timespec* until) {
    pthread_testcancel();
    if (isOnSimulatedClock(clock)) {
        const timespec monotonic = onMonotonicClock(*until);
        return real_pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, &monotonic);
    }
    if (!isScheduled()) return real_pthread_cond_clockwait(condition, mutex, clock, until);
    if (!isValid(*until) || (clock != CLOCK_MONOTONIC && clock != CLOCK_REALTIME)) return EINVAL;
    return waitOnCondition(condition, mutex, deadlineAt(clock, *until));
}

HALVEXBOARD_SHIM int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    const clockid_t clock = clockOf(*condition);
    if (isScheduled() || isOnSimulatedClock(clock)) return pthread_cond_clockwait(condition, mutex, clock, until);
    return real_pthread_cond_timedwait(condition, mutex, until);
}

HALVEXBOARD_SHIM int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    if (isActive() && scheduler().isRunning() && scheduler().wake(condition, 1) != 0) return 0;
    return real_pthread_cond_signal(condition);  // a thread outside the scheduler may wait for it
}

HALVEXBOARD_SHIM int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    wakeWaiters(condition, kEveryone);
    return real_pthread_cond_broadcast(condition);
}

// ---------------------------------------------------------------------------------------------------- read-write locks
// --

namespace {

int lockReading(pthread_rwlock_t* lock, Deadline deadline) noexcept {
    return tryUntil(lock, EBUSY, deadline, [lock] { return real_pthread_rwlock_tryrdlock(lock); });
}

int lockWriting(pthread_rwlock_t* lock, Deadline deadline) noexcept {
    return tryUntil(lock, EBUSY, deadline, [lock] { return real_pthread_rwlock_trywrlock(lock); });
}

}  // namespace

HALVEXBOARD_SHIM int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    return isScheduled() ? lockReading(lock, Deadline::never()) : real_pthread_rwlock_rdlock(lock);
}

HALVEXBOARD_SHIM int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    return isScheduled() ? lockWriting(lock, Deadline::never()) : real_pthread_rwlock_wrlock(lock);
}

HALVEXBOARD_SHIM int pthread_rwlock_timedrdlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    return isScheduled() ? lockReading(lock, deadlineAt(CLOCK_REALTIME, *until))
                         : real_pthread_rwlock_timedrdlock(lock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_timedwrlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    return isScheduled() ? lockWriting(lock, deadlineAt(CLOCK_REALTIME, *until))
                         : real_pthread_rwlock_timedwrlock(lock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_clockrdlock(pthread_rwlock_t* lock, clockid_t clock,
                                                const timespec* until) noexcept {
    return isScheduled() ? lockReading(lock, deadlineAt(clock, *until))
                         : real_pthread_rwlock_clockrdlock(lock, clock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_clockwrlock(pthread_rwlock_t* lock, clockid_t clock,
                                                const timespec* until) noexcept {
    return isScheduled() ? lockWriting(lock, deadlineAt(clock, *until))
                         : real_pthread_rwlock_clockwrlock(lock, clock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const int result = real_pthread_rwlock_unlock(lock);
    wakeWaiters(lock, kEveryone);
    return result;
}

HALVEXBOARD_SHIM int pthread_barrier_wait(pthread_barrier_t* barrier) noexcept {
    const ExternalCall external;
    return real_pthread_barrier_wait(barrier);
}

// --------------------------------------------------------------------------------------------------------- semaphores
// --

namespace {

/// 0 or -1 with errno, as the semaphore functions have it.
int takeSemaphore(sem_t* semaphore, Deadline deadline) noexcept {
    const int error =
        tryUntil(semaphore, EAGAIN, deadline, [semaphore] { return real_sem_trywait(semaphore) == 0 ? 0 : errno; });
    if (error == 0) return 0;
    errno = error;
    return -1;
}

}  // namespace

HALVEXBOARD_SHIM int sem_wait(sem_t* semaphore) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, Deadline::never()) : real_sem_wait(semaphore);
}

HALVEXBOARD_SHIM int sem_timedwait(sem_t* semaphore, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(CLOCK_REALTIME, *until))
                         : real_sem_timedwait(semaphore, until);
}

HALVEXBOARD_SHIM int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(clock, *until))
                         : real_sem_clockwait(semaphore, clock, until);
}

HALVEXBOARD_SHIM int sem_post(sem_t* semaphore) noexcept {
    const int result = real_sem_post(semaphore);
    wakeWaiters(semaphore, 1);
    return result;
}

// ------------------------------------------------------------------------------------------------------- pthread_once
// --

namespace {

/// Initialisations that are under way. The C library would make a second thread wait with the token in hand.
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

constinit OnceTable onceTable{};

/// Marks an initialisation for as long as it runs, exceptions included.
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
        const void* const key = onceTable.keys[position_];
        onceTable.keys[position_] = nullptr;
        scheduler().wake(key, kEveryone);
    }
    OnceMark(const OnceMark&) = delete;
    OnceMark& operator=(const OnceMark&) = delete;

private:
    std::size_t position_;
};

}  // namespace

HALVEXBOARD_SHIM int pthread_once(pthread_once_t* control, void (*initialise)()) {
    constexpr int kDone = 2;  // glibc's value of a control whose initialisation is over
    if (!isScheduled() || __atomic_load_n(control, __ATOMIC_ACQUIRE) == kDone)
        return real_pthread_once(control, initialise);
    for (;;) {
        const std::size_t position = onceTable.find(control);
        if (position == OnceTable::kSize || onceTable.owners[position] == Scheduler::self()) break;
        scheduler().wait(control, Deadline::never(), false);
    }
    const OnceMark mark(control);
    return real_pthread_once(control, initialise);
}

// -------------------------------------------------------------------------------------------------------------- futex
// --

namespace {

/// What std::atomic::wait, std::future and guards of static variables wait with.
long waitOnFutex(const std::uint32_t* word, int operation, std::uint32_t seen, const timespec* span,
                 std::uint32_t bits) noexcept {
    if (__atomic_load_n(word, __ATOMIC_SEQ_CST) != seen) {
        errno = EAGAIN;
        return -1;
    }
    Deadline deadline = Deadline::never();
    if (span != nullptr && !isValid(*span)) {
        errno = EINVAL;
        return -1;
    }
    if (span != nullptr && (operation & FUTEX_CMD_MASK) == FUTEX_WAIT)
        deadline = deadlineAfter(toNs(*span));
    else if (span != nullptr)
        deadline = deadlineAt((operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC, *span);
    const WaitResult result = scheduler().wait(word, deadline, true, bits);
    if (result == WaitResult::woken) return 0;
    errno = result == WaitResult::timedOut ? ETIMEDOUT : EINTR;
    return -1;
}

/// False: not a wait or wake that the scheduler knows.
bool futexOnScheduler(long a, long b, long c, long d, long f, long& result) noexcept {
    const auto operation = static_cast<int>(b);
    const auto* const word = reinterpret_cast<const std::uint32_t*>(a);
    const auto* const span = reinterpret_cast<const timespec*>(d);
    const auto bits = static_cast<std::uint32_t>(f);
    switch (operation & FUTEX_CMD_MASK) {
        case FUTEX_WAIT:
            result = waitOnFutex(word, operation, static_cast<std::uint32_t>(c), span, FUTEX_BITSET_MATCH_ANY);
            return true;
        case FUTEX_WAIT_BITSET:
            result = waitOnFutex(word, operation, static_cast<std::uint32_t>(c), span, bits);
            return true;
        default:
            return false;
    }
}

/// Threads of the scheduler first; then whoever waits in the kernel.
long wakeFutex(long a, long b, long c, long f) noexcept {
    const auto operation = static_cast<int>(b) & FUTEX_CMD_MASK;
    const auto bits = operation == FUTEX_WAKE_BITSET ? static_cast<std::uint32_t>(f) : FUTEX_BITSET_MATCH_ANY;
    const int woken = scheduler().wake(reinterpret_cast<const void*>(a), static_cast<int>(c), bits);
    if (woken >= c) return woken;
    const long others = rawSystemCall(SYS_futex, a, b, c - woken, 0, 0, f);
    return woken + (others > 0 ? others : 0);
}

}  // namespace

HALVEXBOARD_SHIM long syscall(long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    long values[6];
    for (long& value : values) value = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_futex && isActive() && scheduler().isRunning()) {
        const auto operation = static_cast<int>(values[1]) & FUTEX_CMD_MASK;
        long result = 0;
        if (operation == FUTEX_WAKE || operation == FUTEX_WAKE_BITSET)
            return wakeFutex(values[0], values[1], values[2], values[5]);
        if (isScheduled() && futexOnScheduler(values[0], values[1], values[2], values[3], values[5], result))
            return result;
    }
    return real_syscall(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
