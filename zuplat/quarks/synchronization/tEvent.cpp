// An event that one thread waits for and others set.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/quarks/synchronization/tEvent.h"

#include <cerrno>
#include <ctime>

#include "zuerr/codes.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {
namespace {

constexpr const char* kFile = "synchronization";
constexpr std::uint64_t kMutexLine = 655;
constexpr std::uint64_t kConditionLine = 1717;
constexpr std::uint64_t kWaitLine = 1760;
constexpr std::uint64_t kTimeoutLine = 1765;

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

bool makeMutex(pthread_mutex_t& mutex) noexcept {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    const bool made = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                      pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT) == 0 &&
                      pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return made;
}

bool makeCondition(pthread_cond_t& condition) noexcept {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0) return false;
    const bool made =
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 && pthread_cond_init(&condition, &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    return made;
}

}  // namespace

tEvent::tEvent(PlatStatus* status) noexcept {
    hasMutex_ = makeMutex(mutex_.native);
    if (!hasMutex_) {
        setCode(status, zuerr::zuplaterr_softwareFaultPLATInternalUseOnly, kComponent, kFile, kMutexLine);
        return;
    }
    hasCondition_ = makeCondition(condition_);
    if (!hasCondition_) setCode(status, zuerr::zuplaterr_osFault, kComponent, kFile, kConditionLine);
}

tEvent::~tEvent() {
    if (hasCondition_) pthread_cond_destroy(&condition_);
    if (hasMutex_) pthread_mutex_destroy(&mutex_.native);
}

void tEvent::set() noexcept {
    if (!hasCondition_) return;
    const locks::LockGuard lock(mutex_);
    isSignalled_ = true;
    pthread_cond_signal(&condition_);
}

void tEvent::waitUntil(std::uint64_t deadlineNs, PlatStatus* status) noexcept {
    if (status->hasError()) return;
    if (!hasCondition_) {
        setCode(status, zuerr::zuplaterr_osFault, kComponent, kFile, kWaitLine);
        return;
    }
    const timespec deadline{static_cast<time_t>(deadlineNs / kNsPerSecond),
                            static_cast<long>(deadlineNs % kNsPerSecond)};
    int result = 0;
    mutex_.lock();
    while (!isSignalled_ && result == 0) result = pthread_cond_timedwait(&condition_, &mutex_.native, &deadline);
    const bool wasSignalled = isSignalled_;
    isSignalled_ = false;
    mutex_.unlock();

    if (wasSignalled) return;
    if (result == ETIMEDOUT) {
        setCode(status, zuerr::zuplaterr_operationTimedOut, kComponent, kFile, kTimeoutLine);
    } else {
        setCode(status, zuerr::zuplaterr_osFault, kComponent, kFile, kWaitLine);
    }
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
