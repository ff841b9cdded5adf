// Seeding, stepping, servicing and steering of the timekeeper.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"

#include <latch>

#include "tests/support/fakeDevices.h"
#include "tests/support/libcHooks.h"
#include "tests/support/processCensus.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeperTest {

using halvexTimekeeper::EpochDevices;
using halvexTimekeeper::HalvexTimekeeper;
using namespace testing;
using namespace testsupport;

class Timekeeper : public testing::Test {
protected:
    std::shared_ptr<FakeEpochDevice> addSlave(const std::string& name) {
        auto slave = std::make_shared<FakeEpochDevice>(name, journal_);
        slaves_.push_back(slave);
        return slave;
    }

    HalvexTimekeeper& make() {
        timekeeper_ = std::make_unique<HalvexTimekeeper>(master_, systemClock_, oscillator_, slaves_);
        return *timekeeper_;
    }

    /// Makes a timekeeper and clears the journal of its construction.
    HalvexTimekeeper& makeAndForget() {
        make();
        journal_.clear();
        syslog_.clear();
        return *timekeeper_;
    }

    std::int64_t seedStep(std::uint64_t systemNs, std::uint64_t masterNs) {
        systemClock_->timeNs = systemNs;
        master_->timeNs = masterNs;
        journal_.clear();
        make();
        for (const auto& call : journal_) {
            if (call.starts_with("master.adjustTime(")) return std::stoll(call.substr(18));
        }
        ADD_FAILURE() << "the master was not stepped";
        return 0;
    }

    /// Makes a call while a service pass on another thread holds the device mutex.
    template <typename Call>
    void whileServicing(Call&& call) {
        const auto slave = addSlave("a");
        makeAndForget();
        std::latch isServicing(1);
        std::promise<void> mayGoOn;
        slave->failNext("applyQxmMetadata", [&] {
            isServicing.count_down();
            mayGoOn.get_future().wait();
        });
        std::thread service([this] { timekeeper_->serviceEpochDevices(); });
        isServicing.wait();
        call();
        mayGoOn.set_value();
        service.join();
    }

    /// How long `call` waits for a lock that it does not get, in whole milliseconds, rounded down.
    template <typename Call>
    static std::chrono::milliseconds lockTimeoutOf(Call&& call) {
        const LibcHooksGuard hooks;
        const auto before = std::chrono::steady_clock::now();
        std::chrono::nanoseconds deadline{};
        libcHooks().pthread_mutex_clocklock = [&](pthread_mutex_t*, clockid_t clock, const timespec* end) {
            EXPECT_EQ(clock, CLOCK_MONOTONIC);
            deadline = std::chrono::seconds(end->tv_sec) + std::chrono::nanoseconds(end->tv_nsec);
            return ETIMEDOUT;
        };
        call();
        return std::chrono::floor<std::chrono::milliseconds>(deadline - before.time_since_epoch());
    }

    static const void* resultOfThread(void* (*body)(void*), void* argument) {
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, nullptr, body, argument), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        return result;
    }

    /// Expects an operation to fail with the name of a clock that is not enabled, after asking the clocks up to it.
    template <typename Operation>
    void expectToNeedBothClocks(Operation&& operation) {
        Journal asked;
        for (const auto& clock : {master_, systemClock_}) {
            clock->enabled = false;
            journal_.clear();
            EXPECT_EQ(raisedBy(operation),
                      makeError({-52010, "zuplaterr_resourceNotInitialized", "halvexTimekeeper", 44},
                                clock->getName() + " needs to be enabled to allow timekeeper to work"));
            asked.push_back(clock->getName() + ".isEnabled()");
            EXPECT_EQ(journal_, asked);
            clock->enabled = true;
        }
    }

    template <typename Operation>
    static std::int32_t codeOf(Operation&& operation) {
        return raisedBy(operation).code;
    }

    Journal journal_;
    SyslogCapture syslog_;
    std::shared_ptr<FakeEpochDevice> master_ = std::make_shared<FakeEpochDevice>("master", journal_);
    std::shared_ptr<FakeEpochDevice> systemClock_ = std::make_shared<FakeEpochDevice>("system", journal_);
    std::shared_ptr<FakeOscillator> oscillator_ = std::make_shared<FakeOscillator>();
    EpochDevices slaves_;
    std::unique_ptr<HalvexTimekeeper> timekeeper_;
};

using Construction = Timekeeper;
using SnapTime = Timekeeper;
using Service = Timekeeper;
using Metadata = Timekeeper;

TEST_F(Construction, ReadsTheSystemClockBeforeTheMasterStepsTheMasterThenAligns) {
    addSlave("a");
    EXPECT_TRUE(make().isSeeded());
    EXPECT_THAT(journal_,
                ElementsAre("master.isEnabled()", "system.isEnabled()", "system.getTime()", "master.getTime()",
                            "master.adjustTime(0)", "a.isEnabled()", "a.armEpochCapture()", "master.generateEpoch()",
                            "a.isEnabled()", "a.getEpochTimestamp()", "a.setHasBeenEpochAligned(false)"));
    EXPECT_EQ(timekeeper_->getName(), "HalvexTimekeeper");
}

TEST_F(Construction, BringsTheMasterToTheNearestMultipleOf200NsHalvesAwayFromZero) {
    EXPECT_EQ(seedStep(1150, 1000), 200);
    EXPECT_EQ(seedStep(1000, 1100), -200);
    EXPECT_EQ(seedStep(1099, 1000), 0);
    EXPECT_EQ(seedStep(1100, 1000), 200);
    EXPECT_EQ(seedStep(1000, 1099), 0);
    EXPECT_EQ(seedStep(1000, 1300), -400);
}

TEST_F(Construction, DoesNotRoundUpWhereThatWouldOverflow) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    constexpr std::uint64_t kMostUnsigned = static_cast<std::uint64_t>(kMost);
    EXPECT_EQ(seedStep(kMostUnsigned, 0), kMost / 200 * 200);
    EXPECT_EQ(seedStep(kMostUnsigned - 100, 0), 9223372036854775800);
    EXPECT_EQ(seedStep(0, kMostUnsigned + 1), std::numeric_limits<std::int64_t>::min() / 200 * 200);
    EXPECT_EQ(seedStep(0, kMostUnsigned - 99), -9223372036854775800);
}

TEST_F(Construction, FailsWhenTheDifferenceOverflows) {
    systemClock_->timeNs = std::numeric_limits<std::uint64_t>::max();
    master_->timeNs = 0;
    EXPECT_EQ(raisedBy([this] { make(); }),
              makeError({-52008, "zuplaterr_osFault", "halvexTimekeeper", 58}, "Overflow/Underflow error occurred"));
}

TEST_F(Construction, FailsWithTheNameOfAClockThatIsNotEnabled) {
    expectToNeedBothClocks([this] { make(); });
}

TEST_F(Timekeeper, ForwardsCorrectionsUnchanged) {
    make();
    EXPECT_EQ(timekeeper_->getMaxCorrectionPerSecond(), 62000);
    EXPECT_EQ(timekeeper_->getMinCorrectionPerSecond(), -62000);
    timekeeper_->setCorrectionPerSecond(99999);
    EXPECT_EQ(oscillator_->correctionPpb, 99999) << "neither scaled nor clamped here";
    EXPECT_EQ(timekeeper_->getCorrectionPerSecond(), 99999);
}

TEST_F(SnapTime, CutsTheOffsetTowardZeroToAMultipleOf200Ns) {
    for (const auto& [offsetNs, stepNs] :
         {std::pair{199, 0}, {-399, -200}, {200, 200}, {-200, -200}, {1'500'000, 1'500'000}}) {
        makeAndForget().snapTime(offsetNs);
        timekeeper_.reset();
        const auto step = "(" + std::to_string(stepNs) + ")";
        EXPECT_THAT(journal_, ElementsAre("master.isEnabled()", "system.isEnabled()", "master.adjustTime" + step,
                                          "system.adjustTime" + step));
    }
}

TEST_F(SnapTime, StartsAnAlignmentEvenForAStepOfZero) {
    addSlave("a");
    makeAndForget().snapTime(199);
    timekeeper_.reset();  // waits for it
    EXPECT_THAT(journal_, Contains("a.armEpochCapture()"));
    EXPECT_THAT(syslog_.getTexts(LOG_INFO), ElementsAre(HasSubstr("Successfully aligned")));
}

TEST_F(SnapTime, ReturnsWithoutWaitingForTheAlignment) {
    addSlave("a");
    makeAndForget();
    std::promise<void> mayGoOn;
    master_->onEpoch = [&] { mayGoOn.get_future().wait(); };
    timekeeper_->snapTime(0);  // would wait forever
    mayGoOn.set_value();
    timekeeper_.reset();
}

TEST_F(SnapTime, GivesUpSilentlyWhenTheDeviceMutexIsHeldFor15Ms) {
    std::chrono::steady_clock::duration waited{};
    whileServicing([&] {
        const auto before = std::chrono::steady_clock::now();
        timekeeper_->snapTime(1000);
        waited = std::chrono::steady_clock::now() - before;
    });
    EXPECT_GE(waited, std::chrono::milliseconds(15));
    EXPECT_LT(waited, std::chrono::milliseconds(500));
    EXPECT_THAT(journal_, Not(Contains(HasSubstr("adjustTime"))));
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), IsEmpty());
}

TEST_F(SnapTime, AsksForTheDeviceMutexFor15Ms) {
    makeAndForget();
    EXPECT_EQ(lockTimeoutOf([this] { timekeeper_->snapTime(1000); }), std::chrono::milliseconds(15));
    EXPECT_THAT(journal_, IsEmpty());
}

TEST_F(SnapTime, FailsWithTheNameOfAClockThatIsNotEnabled) {
    makeAndForget();
    expectToNeedBothClocks([this] { timekeeper_->snapTime(1000); });
}

TEST_F(SnapTime, LosesNoErrorOfAnAlignmentWhenAThreadThatWaitsForItIsCancelled) {
    const auto slave = addSlave("a");
    makeAndForget();
    static std::atomic<pid_t> waiting;
    static std::atomic<bool> isDelivered;
    waiting = -1;
    isDelivered = false;
    slave->failNext("armEpochCapture", [] {
        while (waiting != 0 && !isAsleep(waiting)) std::this_thread::yield();
        throwDeviceError(-52024);
    });
    timekeeper_->snapTime(1000);
    const void* const result = resultOfThread(
        [](void* timekeeper) -> void* {
            struct Unwound {
                ~Unwound() { waiting = 0; }
            } const atTheEnd;
            waiting = gettid();
            pthread_cancel(pthread_self());
            try {
                static_cast<HalvexTimekeeper*>(timekeeper)->snapTime(2000);
            } catch (const zuerr::Exception& error) {
                isDelivered = error.getCode() == -52024;
            }
            pthread_testcancel();
            return nullptr;
        },
        timekeeper_.get());
    EXPECT_EQ(result, PTHREAD_CANCELED);
    if (!isDelivered) {
        EXPECT_EQ(codeOf([this] { timekeeper_->snapTime(4000); }), -52024);
    }
    EXPECT_THAT(journal_, Not(Contains("master.adjustTime(2000)")));
}

TEST_F(SnapTime, IsFollowedByAnAlignmentThatADestructorOnACancelledThreadWaitsFor) {
    addSlave("a");
    makeAndForget();
    static std::atomic<pid_t> destroying;
    destroying = 0;
    master_->onEpoch = [] {
        while (!isAsleep(destroying)) std::this_thread::yield();
    };
    timekeeper_->snapTime(0);
    const void* const result = resultOfThread(
        [](void* timekeeper) -> void* {
            destroying = gettid();
            pthread_cancel(pthread_self());
            delete static_cast<HalvexTimekeeper*>(timekeeper);
            pthread_testcancel();
            return nullptr;
        },
        timekeeper_.release());
    EXPECT_EQ(result, PTHREAD_CANCELED) << "it stays pending";
    EXPECT_THAT(journal_, Contains("a.setHasBeenEpochAligned(false)"));
}

TEST_F(Service, HandsTheMetadataToEverySlaveWhenNoneAsksToBeAligned) {
    addSlave("a");
    addSlave("b");
    makeAndForget().serviceEpochDevices();
    EXPECT_THAT(journal_, ElementsAre("a.hasBeenEpochAligned()", "b.hasBeenEpochAligned()", "a.applyQxmMetadata({})",
                                      "b.applyQxmMetadata({})"));
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

TEST_F(Metadata, ReachesEverySlaveOnTheNextPass) {
    addSlave("a");
    makeAndForget().applyMetaData(R"({"x":1})");
    EXPECT_THAT(journal_, IsEmpty());
    timekeeper_->serviceEpochDevices();
    EXPECT_THAT(journal_, Contains(R"(a.applyQxmMetadata({"x":1}))"));
}

TEST_F(Metadata, AsksForTheDeviceMutexFor15Ms) {
    makeAndForget();
    EXPECT_EQ(lockTimeoutOf([this] { timekeeper_->applyMetaData("dropped"); }), std::chrono::milliseconds(15));
}

TEST_F(Metadata, IsDroppedSilentlyWhenTheDeviceMutexIsHeldFor15Ms) {
    whileServicing([this] { timekeeper_->applyMetaData("dropped"); });
    timekeeper_->serviceEpochDevices();
    EXPECT_EQ(journal_.back(), "a.applyQxmMetadata({})");
}

}  // namespace halvexTimekeeperTest
