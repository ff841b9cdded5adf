// Runs the library's threads one at a time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/syscall.h>

#include <semaphore>

#include "tests/faults/standIn.h"
#include "tests/support/timedLock.h"

namespace faults {

constinit std::atomic<bool> areThreadsFree{false};

namespace {

/// The monitoring thread and the sweep alternate.
struct Monitor {
    std::counting_semaphore<8> idle{0};
    std::counting_semaphore<8> mayGoOn{0};
    std::atomic<bool> isWaiting{false};
    std::atomic<bool> isSignalled{false};
    std::atomic<bool> isHeld{false};
};
Monitor monitor;

std::atomic<int> gateBeingHeld{0};  ///< New threads wait until gateOpened reaches this.
std::atomic<int> gateOpened{0};
std::atomic<int> threadsHeld{0};
std::counting_semaphore<64> heldThreadEnded{0};

struct ThreadStart {
    void* (*function)(void*);
    void* argument;
    int gate;
    bool isHeld;
};

void* runThread(void* given) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(given));
    for (int opened = gateOpened.load(); opened < start->gate; opened = gateOpened.load()) gateOpened.wait(opened);
    isInsideLibrary = true;
    errno = 0;  // as on any new thread; waiting for the gate may have set it
    void* const result = start->function(start->argument);
    isInsideLibrary = false;
    if (start->isHeld) heldThreadEnded.release();
    return result;
}

/// The controller's error for making something, or 0.
int refusal(Answer (SimulatedController::*make)()) {
    auto* const controller = current.load();
    if (controller == nullptr) return 0;
    const Outside outside;
    return static_cast<int>((controller->*make)().value);
}

int realTimedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    using Function = int(pthread_cond_t*, pthread_mutex_t*, const timespec*);
#ifdef HALVEX_THREAD_SANITIZER
    static Function* const real =
        next<Function>("pthread_cond_timedwait");  // the sanitizer's version, as for the signal
#else
    static Function* const real =
        reinterpret_cast<Function*>(dlvsym(RTLD_NEXT, "pthread_cond_timedwait", "GLIBC_2.3.2"));
#endif
    return real(condition, mutex, deadline);
}

}  // namespace

InsideLibrary::InsideLibrary() { isInsideLibrary = true; }
InsideLibrary::~InsideLibrary() { isInsideLibrary = false; }

void letThreadsRun(bool freely) { areThreadsFree = freely; }

void awaitMonitorIdle() {
    const Outside outside;
    monitor.idle.acquire();
}

void endMonitorPeriod() { monitor.mayGoOn.release(); }

void holdMonitor() {
    monitor.isSignalled = false;
    monitor.isHeld = true;
}

bool releaseMonitor() {
    monitor.isHeld = false;
    if (!monitor.isSignalled) return false;
    monitor.mayGoOn.release();
    return true;
}

void holdNewThreads() { ++gateBeingHeld; }

void releaseNewThreads() {
    gateOpened = gateBeingHeld.load();
    gateOpened.notify_all();
    for (int held = threadsHeld.exchange(0); held > 0; --held) heldThreadEnded.acquire();
}

}  // namespace faults

using namespace faults;

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Function* const real = next<Function>("pthread_create");
    auto* const controller = current.load();
    if (controller == nullptr) return real(thread, attributes, function, argument);
    const Outside outside;
    if (const int error = refusal(&SimulatedController::startThread); error != 0) return error;
    const int gate = gateBeingHeld.load();
    const bool isHeld = gate > gateOpened.load();
    if (isHeld) ++threadsHeld;
    return real(thread, attributes, runThread, new ThreadStart{function, argument, gate, isHeld});
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    if (const int error = refusal(&SimulatedController::makeMutex); error != 0) return error;
    return next<int(pthread_mutex_t*, const pthread_mutexattr_t*)>("pthread_mutex_init")(mutex, attributes);
}

#ifdef HALVEX_THREAD_SANITIZER
int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept {
    const auto readSystem = [](clockid_t id, timespec* time) { systemCall(SYS_clock_gettime, id, address(time)); };
    return testsupport::lockByRealTime(mutex, clock, deadline, readSystem);
}
#endif

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    if (const int error = refusal(&SimulatedController::makeCondition); error != 0) return error;
    return next<int(pthread_cond_t*, const pthread_condattr_t*)>("pthread_cond_init")(condition, attributes);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    if (current.load() == nullptr || areThreadsFree)
        return next<int(pthread_cond_t*)>("pthread_cond_signal")(condition);
    if (!monitor.isWaiting) return 0;
    monitor.isSignalled = true;
    if (!monitor.isHeld) monitor.mayGoOn.release();
    return 0;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    auto* const controller = current.load();
    if (controller == nullptr) return realTimedWait(condition, mutex, deadline);
    Outside outside;
    if (areThreadsFree) {
        timespec soon;
        systemCall(SYS_clock_gettime, CLOCK_MONOTONIC, address(&soon));
        soon.tv_nsec += 200'000;
        if (soon.tv_nsec >= 1'000'000'000) soon = {soon.tv_sec + 1, soon.tv_nsec - 1'000'000'000};
        return realTimedWait(condition, mutex, &soon);
    }
    const std::int64_t lengthNs = controller->nsUntil(deadline->tv_sec, deadline->tv_nsec);
    pthread_testcancel();
    monitor.isSignalled = false;
    monitor.isWaiting = true;
    pthread_mutex_unlock(mutex);
    monitor.idle.release();
    monitor.mayGoOn.acquire();
    pthread_mutex_lock(mutex);
    monitor.isWaiting = false;
    const Answer answer = controller->wait(monitor.isSignalled, lengthNs);
    pthread_testcancel();
    return static_cast<int>(outside.finish(answer));
}

}  // extern "C"
