// An event that one thread waits for and others set.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/quarks/synchronization/tEvent.h"

#include "tests/support/libcHooks.h"
#include "tests/support/platStatuses.h"
#include "tests/support/processCensus.h"
#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEventTest {

using namespace testsupport;

constexpr std::uint64_t kPast = 1;
constexpr std::uint64_t kNever = 9'000'000'000'000'000'000;

struct TEvent : testing::Test {
    LibcHooksGuard hooks;
    PlatStatus status;
};

TEST_F(TEvent, IsMadeWithARecursivePriorityInheritingMutexAndAConditionOnTheMonotonicClock) {
    int type = -1, protocol = -1;
    clockid_t clock = -1;
    libcHooks().pthread_mutex_init = [&](pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
        pthread_mutexattr_gettype(attributes, &type);
        pthread_mutexattr_getprotocol(attributes, &protocol);
        *mutex = PTHREAD_MUTEX_INITIALIZER;
        return 0;
    };
    libcHooks().pthread_cond_init = [&](pthread_cond_t* condition, const pthread_condattr_t* attributes) {
        pthread_condattr_getclock(attributes, &clock);
        *condition = PTHREAD_COND_INITIALIZER;
        return 0;
    };
    const tEvent event(&status);
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(type, PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(protocol, PTHREAD_PRIO_INHERIT);
    EXPECT_EQ(clock, CLOCK_MONOTONIC);
}

/// One step of making an event: how it fails, and what is reported.
struct FailingStep {
    const char* name;
    std::function<void(LibcHooks&)> fail;
    const char* report;
};

constexpr const char* kNoMutex = "-52003 halvexTim synchronization 655";
constexpr const char* kNoCondition = "-52008 halvexTim synchronization 1717";
const auto kRefused = [](auto*, auto...) { return ENOTSUP; };
const FailingStep kFailingSteps[] = {
    {"TheMutex", [](LibcHooks& hooks) { hooks.pthread_mutex_init = kRefused; }, kNoMutex},
    {"TheMutexAttributes", [](LibcHooks& hooks) { hooks.pthread_mutexattr_init = kRefused; }, kNoMutex},
    {"TheMutexType", [](LibcHooks& hooks) { hooks.pthread_mutexattr_settype = kRefused; }, kNoMutex},
    {"TheMutexProtocol", [](LibcHooks& hooks) { hooks.pthread_mutexattr_setprotocol = kRefused; }, kNoMutex},
    {"TheCondition", [](LibcHooks& hooks) { hooks.pthread_cond_init = kRefused; }, kNoCondition},
    {"TheConditionAttributes", [](LibcHooks& hooks) { hooks.pthread_condattr_init = kRefused; }, kNoCondition},
    {"TheConditionClock", [](LibcHooks& hooks) { hooks.pthread_condattr_setclock = kRefused; }, kNoCondition},
};

TEST_F(TEvent, ReportsAStepOfItsMakingThatFailsAndCanStillBeSetWaitedForAndDestroyed) {
    for (const auto& [name, fail, report] : kFailingSteps) {
        const LibcHooksGuard restore;
        fail(libcHooks());
        PlatStatus making;
        tEvent event(&making);
        ASSERT_EQ(textOf(making), report) << name;
        event.set();
        PlatStatus waiting;
        event.waitUntil(kNever, &waiting);
        EXPECT_EQ(waiting.code, -52008) << name;
    }
}

TEST_F(TEvent, LetsOneWaitThroughForOneSetAndForgetsIt) {
    tEvent event(&status);
    event.set();
    event.waitUntil(kNever, &status);
    EXPECT_EQ(status.code, 0);
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, -52007);
}

TEST_F(TEvent, CountsTwoSetsWithoutAWaiterAsOne) {
    tEvent event(&status);
    event.set();
    event.set();
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, 0);
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, -52007);
}

TEST_F(TEvent, ReportsADeadlineThatHasPassedAsTimedOut) {
    tEvent event(&status);
    event.waitUntil(kPast, &status);
    EXPECT_THAT(textOf(status), testing::StartsWith("-52007 halvexTim synchronization"));
}

TEST_F(TEvent, IsWokenByAnotherThread) {
    tEvent event(&status);
    std::thread setter([&] { event.set(); });
    event.waitUntil(kNever, &status);
    setter.join();
    EXPECT_EQ(status.code, 0);
}

TEST_F(TEvent, HandsTheDeadlineOnToTheNanosecond) {
    tEvent event(&status);
    timespec seen{};
    libcHooks().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec* deadline) {
        seen = *deadline;
        return ETIMEDOUT;
    };
    event.waitUntil(12'345'678'901, &status);
    EXPECT_EQ(seen.tv_sec, 12);
    EXPECT_EQ(seen.tv_nsec, 345'678'901);
}

TEST_F(TEvent, GoesOnWaitingWhenItIsWokenWithoutBeingSet) {
    tEvent event(&status);
    int waits = 0;
    libcHooks().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
        if (++waits == 3) event.set();  // the mutex is recursive
        return 0;
    };
    event.waitUntil(kNever, &status);
    EXPECT_EQ(waits, 3);
    EXPECT_EQ(status.code, 0);
}

TEST_F(TEvent, IsNotSetBetweenAWaitersLookAndItsSleep) {
    tEvent event(&status);
    std::thread setting;
    std::atomic<pid_t> settingThread = 0;
    std::atomic<bool> hasSet = false;
    // The waiter has checked and still holds the mutex: a setter must wait, or its signal would find no waiter.
    libcHooks().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
        setting = std::thread([&] {
            settingThread = gettid();
            event.set();
            hasSet = true;
        });
        while (!hasSet && (settingThread == 0 || !isAsleep(settingThread))) std::this_thread::yield();
        EXPECT_FALSE(hasSet);
        return ETIMEDOUT;
    };
    event.waitUntil(kNever, &status);
    setting.join();
}

TEST_F(TEvent, CountsAsSetWhenTheSetComesWithTheDeadline) {
    tEvent event(&status);
    libcHooks().pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
        event.set();
        return ETIMEDOUT;
    };
    event.waitUntil(kNever, &status);
    EXPECT_EQ(status.code, 0);
}

TEST_F(TEvent, ReportsAWaitThatFailsAsAFaultOfTheSystem) {
    tEvent event(&status);
    libcHooks().pthread_cond_timedwait = [](pthread_cond_t*, pthread_mutex_t*, const timespec*) { return EINVAL; };
    event.waitUntil(kNever, &status);
    EXPECT_THAT(textOf(status), testing::StartsWith("-52008 halvexTim synchronization"));
}

TEST_F(TEvent, DoesNotWaitWhenTheStatusHoldsAnErrorAndStaysSet) {
    tEvent event(&status);
    event.set();
    PlatStatus failed = statusOf(-1);
    event.waitUntil(kNever, &failed);
    EXPECT_EQ(failed.code, -1);
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, 0);
}

TEST_F(TEvent, AWarningInTheStatusDoesNotStopTheWait) {
    tEvent event(&status);
    event.set();
    status = statusOf(5);
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, 5);
    event.waitUntil(kPast, &status);
    EXPECT_EQ(status.code, -52007);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEventTest
