// The system clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/systemTimeClock.h"

#include "source/tools/linuxFunctionHelpers.h"
#include "tests/support/allocationCount.h"
#include "tests/support/libcHooks.h"
#include "tests/support/osCallGuard.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::systemTimeClockTest {

using namespace testsupport;

constexpr std::int64_t kSmallestOffset = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLargestOffset = std::numeric_limits<std::int64_t>::max();
constexpr QxmTimestamp kLargestTime = std::numeric_limits<QxmTimestamp>::max();

RaisedError osFault(std::int32_t line, const std::string& message) {
    return makeError({-52008, "zuplaterr_osFault", "systemTimeClock", line}, message);
}

/// A clock on functions that keep a time, a journal of calls, and an error to fail with.
struct SystemTimeClockTest : testing::Test {
    timespec now{1'700'000'000, 5};
    int readError = 0;
    int writeError = 0;
    std::vector<std::string> journal;

    SystemTimeClock clock{[this](int id, timespec* out) {
                              journal.push_back("read " + std::to_string(id));
                              *out = now;
                              errno = readError;
                              return readError != 0 ? -1 : 0;
                          },
                          [this](int id, const timespec* in) {
                              journal.push_back("write " + std::to_string(id));
                              errno = writeError;
                              if (writeError != 0) return -1;
                              now = *in;
                              return 0;
                          }};
};

TEST_F(SystemTimeClockTest, HasOneFixedNameThatAllClocksShare) {
    const SystemTimeClock another(false, "");
    EXPECT_EQ(clock.getName(), "SystemTimeClock");
    EXPECT_EQ(&clock.getName(), &another.getName());
}

TEST_F(SystemTimeClockTest, IsAlwaysEnabled) {
    readError = EFAULT;
    EXPECT_TRUE(clock.isEnabled());
    EXPECT_TRUE(journal.empty());
}

TEST_F(SystemTimeClockTest, RefusesAReadingOfABillionNanoseconds) {
    now = {5, 1'000'000'000};
    EXPECT_EQ(raisedBy([&] { clock.getTime(); }),
              makeError({-52008, "zuplaterr_osFault", "linuxFunctionHelpers", 42},
                        "Invalid timespec. timespec value - 5 sec 1000000000 nsec"));
}

TEST_F(SystemTimeClockTest, StepsForwardsAndBackwardsOverTheSecond) {
    clock.adjustTime(999'999'995);
    EXPECT_EQ(timespecToQxmTimestamp(now), 1'700'000'001'000'000'000U);
    clock.adjustTime(-1);
    EXPECT_EQ(timespecToQxmTimestamp(now), 1'700'000'000'999'999'999U);
}

TEST_F(SystemTimeClockTest, ReadsAndWritesTheClockOnceForAStepBy0) {
    clock.adjustTime(0);
    EXPECT_EQ(journal, (std::vector<std::string>{"read 0", "write 0"}));
    EXPECT_EQ(timespecToQxmTimestamp(now), 1'700'000'000'000'000'005U);
}

TEST_F(SystemTimeClockTest, StepsToTheEpochAndNotBelow) {
    now = {0, 10};
    EXPECT_EQ(raisedBy([&] { clock.adjustTime(-11); }),
              osFault(66, "Overflow error when calculating time adjustment. Current time - 10 Offset - -11"));
    EXPECT_EQ(journal, std::vector<std::string>{"read 0"});
    clock.adjustTime(-10);
    EXPECT_EQ(timespecToQxmTimestamp(now), 0U);
}

TEST_F(SystemTimeClockTest, StepsToTheLargestTimeAndNotBeyond) {
    now = qxmTimestampToTimespec(kLargestTime - 10);
    EXPECT_EQ(raisedBy([&] { clock.adjustTime(11); }),
              osFault(66,
                      "Overflow error when calculating time adjustment. Current time - 18446744073709551605 Offset - "
                      "11"));
    clock.adjustTime(10);
    EXPECT_EQ(timespecToQxmTimestamp(now), kLargestTime);
}

TEST_F(SystemTimeClockTest, TakesTheSmallestAndTheLargestOffset) {
    now = qxmTimestampToTimespec(1ULL << 63U);
    clock.adjustTime(kSmallestOffset);
    EXPECT_EQ(timespecToQxmTimestamp(now), 0U);
    clock.adjustTime(kLargestOffset);
    EXPECT_EQ(timespecToQxmTimestamp(now), (1ULL << 63U) - 1);
    EXPECT_EQ(raisedBy([&] { clock.adjustTime(kSmallestOffset); }),
              osFault(66,
                      "Overflow error when calculating time adjustment. Current time - 9223372036854775807 Offset - "
                      "-9223372036854775808"));
}

TEST_F(SystemTimeClockTest, StepsFromTheTimeThatADerivedClockReads) {
    struct DerivedClock : SystemTimeClock {
        using SystemTimeClock::SystemTimeClock;
        QxmTimestamp getTime() override { return 3'000'000'000; }
    };
    std::optional<timespec> written;
    DerivedClock derived([](int, timespec*) { return -1; },
                         [&](int, const timespec* in) {
                             written = *in;
                             return 0;
                         });
    derived.adjustTime(-1);
    ASSERT_TRUE(written);
    EXPECT_EQ(timespecToQxmTimestamp(*written), 2'999'999'999U);
}

TEST_F(SystemTimeClockTest, AllocatesNothingToReadAndStep) {
    SystemTimeClock quiet([](int, timespec*) { return 0; }, [](int, const timespec*) { return 0; });
    const long before = countAllocations();
    quiet.getTime();
    quiet.adjustTime(5);
    EXPECT_EQ(countAllocations(), before);
}

TEST_F(SystemTimeClockTest, ReadsAndSetsWithItsOwnLinuxFunctionsAndNotThoseOfTheTable) {
    const OsCallGuard empty{osCalls().clock_gettime, nullptr};
    const LibcHooksGuard hooks;
    timespec written{};
    libcHooks().clock_settime = [&](clockid_t id, const timespec* in) {
        EXPECT_EQ(id, CLOCK_REALTIME);
        written = *in;
        return 0;
    };
    SystemTimeClock real(false, "");
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);
    const QxmTimestamp seen = real.getTime();
    real.adjustTime(0);
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE(seen, timespecToQxmTimestamp(before));
    EXPECT_GE(timespecToQxmTimestamp(written), seen);
    EXPECT_LE(timespecToQxmTimestamp(written), timespecToQxmTimestamp(after));
}

}  // namespace halvexTimekeeper::systemTimeClockTest
