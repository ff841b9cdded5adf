// The monitoring thread: wake-ups, errors, shutdown.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/monitoringThread.h"

#include "tests/support/fakeDevices.h"
#include "tests/support/libcHooks.h"
#include "tests/support/test.h"
#include "zuerr/status.h"

namespace monitoringThreadTest {

using namespace testsupport;

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent;
using namespace testing;

/// Runs the body on the test's own thread; waits of the event are replaced, so that tests take no time.
class MonitoringThread : public testing::Test {
protected:
    MonitoringThread() {
        timekeeper_.onService = [this] {
            if (++passes_ == wantedPasses_) running_ = false;
            passEndNs_ = monotonicNowNs();
        };
        libcHooks().pthread_cond_timedwait = [this](pthread_cond_t*, pthread_mutex_t*, const timespec* deadline) {
            const long deadlineNs = deadline->tv_sec * 1'000'000'000 + deadline->tv_nsec;
            waits_.push_back(deadlineNs - monotonicNowNs());
            periods_.push_back(deadlineNs - passEndNs_);
            return waitResult_;
        };
    }
    ~MonitoringThread() override { zuerr::freeJson(errors_); }

    static long monotonicNowNs() {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec * 1'000'000'000 + now.tv_nsec;
    }

    void run(int wantedPasses) {
        wantedPasses_ = wantedPasses;
        passEndNs_ = monotonicNowNs();
        halvexTimekeeper::runMonitoringThread(timekeeper_, event_, running_, {errors_, errorsMutex_});
    }

    LibcHooksGuard hooks_;
    SyslogCapture syslog_;
    FakeTimekeeper timekeeper_;
    PlatStatus eventStatus_;
    tEvent event_{&eventStatus_};
    std::atomic<bool> running_{true};
    zuerr_Status errors_ = zuerr::makeStatus();
    locks::Mutex errorsMutex_;
    std::vector<long> waits_;    ///< From the start of each wait to its deadline, in ns.
    std::vector<long> periods_;  ///< From the end of the previous pass to the deadline, in ns.
    long passEndNs_ = 0;
    int waitResult_ = ETIMEDOUT;
    int passes_ = 0;
    int wantedPasses_ = 0;
};

TEST_F(MonitoringThread, ServicesTheDevicesEveryTwoSecondsOfTheMonotonicClock) {
    run(3);
    ASSERT_EQ(waits_.size(), 3U);
    for (const long waitNs : waits_) {
        EXPECT_GT(waitNs, 1'900'000'000);
        EXPECT_LE(waitNs, 2'000'000'000);
    }
    for (const long periodNs : periods_) EXPECT_GE(periodNs, 2'000'000'000);
    EXPECT_THAT(timekeeper_.journal,
                ElementsAre("serviceEpochDevices()", "serviceEpochDevices()", "serviceEpochDevices()"));
    EXPECT_THAT(syslog_.getLines(), IsEmpty()) << "expiry is not an error";
    EXPECT_EQ(errors_.code, 0);
}

TEST_F(MonitoringThread, ServicesTheDevicesAtOnceWhenTheEventIsSet) {
    event_.set();
    run(1);
    EXPECT_THAT(waits_, IsEmpty());
}

TEST_F(MonitoringThread, DoesNothingWhenItIsNotToRun) {
    running_ = false;
    run(1);
    EXPECT_THAT(timekeeper_.journal, IsEmpty());
}

TEST_F(MonitoringThread, FinishesThePassThatTheShutdownWakes) {
    event_.set();
    timekeeper_.onService = [this] { running_ = false; };
    run(0);
    EXPECT_THAT(timekeeper_.journal, ElementsAre("serviceEpochDevices()"));
}

TEST_F(MonitoringThread, SaysWarnForAWarningPassForNoCodeAndNullForAnErrorWithoutAText) {
    for (const std::int32_t code : {3, 0, -52024}) {
        timekeeper_.failNext("serviceEpochDevices", [code] { throwBare(code); });
    }
    run(1);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre("Monitoring thread encountered an error: WARN(3,null)",
                                                       "Monitoring thread encountered an error: PASS(0,null)",
                                                       "Monitoring thread encountered an error: FAIL(-52024,null)"));
    EXPECT_EQ(errors_.code, -52024);
    EXPECT_EQ(errors_.json, nullptr);
}

TEST_F(MonitoringThread, LogsBothErrorsAndGoesOnWhenTheRecordCannotBeLocked) {
    pthread_mutexattr_t checked;
    pthread_mutexattr_init(&checked);
    pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(errorsMutex_.native_handle(), &checked);
    timekeeper_.failNext("serviceEpochDevices", [this] {
        errorsMutex_.lock();  // by this thread: locking it again is an error
        throwBare(-52024);
    });
    run(1);
    errorsMutex_.unlock();
    EXPECT_THAT(syslog_.getTexts(LOG_ERR),
                ElementsAre("Monitoring thread encountered an error: FAIL(-52024,null)",
                            HasSubstr("\"std_exception_what\":\"Resource deadlock avoided\"")));
    EXPECT_EQ(errors_.code, 0);
    EXPECT_EQ(passes_, 1) << "a pass followed the one that failed";
}

TEST_F(MonitoringThread, RecordsTheFirstErrorAndOnlyLogsLaterOnes) {
    timekeeper_.failNext("serviceEpochDevices", -52024);
    timekeeper_.failNext("serviceEpochDevices", -52006);
    run(1);
    EXPECT_EQ(errors_.code, -52024);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(HasSubstr("FAIL(-52024,"), HasSubstr("FAIL(-52006,")));
}

TEST_F(MonitoringThread, ReplacesARecordedWarningByAnError) {
    errors_.code = 3;
    timekeeper_.failNext("serviceEpochDevices", -52006);
    run(1);
    EXPECT_EQ(errors_.code, -52006);
}

TEST_F(MonitoringThread, ConvertsForeignErrors) {
    timekeeper_.failNext("serviceEpochDevices", [] { throw std::out_of_range("stod"); });
    timekeeper_.failNext("serviceEpochDevices", [] { throw 42; });
    run(1);
    EXPECT_EQ(errors_.code, -52003);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR),
                ElementsAre(HasSubstr("\"std_exception_what\":\"stod\""), HasSubstr("\"line\":74")));
}

}  // namespace monitoringThreadTest
