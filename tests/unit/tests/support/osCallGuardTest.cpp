// The guard around an entry of the call table.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/osCallGuard.h"

#include "source/tools/linuxFunctionHelpers.h"
#include "tests/support/test.h"

namespace osCallGuardTest {

using halvexTimekeeper::osCalls;
using testsupport::failFrom;
using testsupport::failNth;
using testsupport::OsCallGuard;

struct OsCallGuardTest : testing::Test {
    std::function<int(int)> entry = [](int value) { return value; };
};

TEST_F(OsCallGuardTest, ReplacesTheEntryAndRestoresItAfterwards) {
    {
        const OsCallGuard guard{entry, [](int value) { return value + 100; }};
        EXPECT_EQ(entry(1), 101);
    }
    EXPECT_EQ(entry(1), 1);
}

TEST_F(OsCallGuardTest, RestoresTheEntryWhenAnExceptionUnwinds) {
    try {
        const OsCallGuard guard{entry, failFrom(1, EIO)};
        EXPECT_EQ(entry(1), -1);
        throw std::runtime_error("on the way out");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(entry(1), 1);
}

TEST_F(OsCallGuardTest, FailsTheNthCallAloneAndForwardsTheOthers) {
    const OsCallGuard guard{entry, failNth(3, EIO)};
    EXPECT_EQ(entry(5), 5);
    EXPECT_EQ(entry(6), 6);
    EXPECT_FALSE(guard.hasFailedACall());
    errno = 0;
    EXPECT_EQ(entry(7), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(guard.hasFailedACall());
    EXPECT_EQ(entry(8), 8);
    EXPECT_EQ(guard.getCallCount(), 4);
}

TEST_F(OsCallGuardTest, FailsForEverFromTheNthCallOn) {
    const OsCallGuard guard{entry, failFrom(2, EIO)};
    EXPECT_EQ(entry(5), 5);
    EXPECT_EQ(entry(6), -1);
    EXPECT_EQ(entry(7), -1);
}

TEST_F(OsCallGuardTest, NestsOnOneEntry) {
    const OsCallGuard outer{entry, [](int value) { return value + 100; }};
    {
        const OsCallGuard inner{entry, failNth(2, EIO)};
        EXPECT_EQ(entry(1), 101);
        EXPECT_EQ(entry(1), -1);
    }
    EXPECT_EQ(entry(1), 101);
    EXPECT_EQ(outer.getCallCount(), 2);
}

TEST_F(OsCallGuardTest, EmptiesAnEntry) {
    {
        const OsCallGuard guard{entry, nullptr};
        EXPECT_THROW(entry(1), std::bad_function_call);
    }
    EXPECT_EQ(entry(1), 1);
}

TEST_F(OsCallGuardTest, WorksOnEveryEntryOfTheTable) {
    const OsCallGuard getTime{osCalls().clock_gettime, failNth(1, EIO)};
    const OsCallGuard adjust{osCalls().clock_adjtime, failNth(1, EIO)};
    const OsCallGuard makeSocket{osCalls().socket, failNth(1, EIO)};
    const OsCallGuard control{osCalls().ioctl, failNth(1, EIO)};
    const OsCallGuard closeIt{osCalls().close, failNth(1, EIO)};
    const OsCallGuard openIt{osCalls().open, failNth(1, EIO)};
    const OsCallGuard readIt{osCalls().read, failNth(1, EIO)};
    const OsCallGuard selectIt{osCalls().select, failNth(1, EIO)};
    EXPECT_EQ(osCalls().clock_gettime(0, nullptr), -1);
    EXPECT_EQ(osCalls().clock_adjtime(0, nullptr), -1);
    EXPECT_EQ(osCalls().socket(0, 0, 0), -1);
    EXPECT_EQ(osCalls().ioctl(0, 0, nullptr), -1);
    EXPECT_EQ(osCalls().close(0), -1);
    EXPECT_EQ(osCalls().open("", 0), -1);
    EXPECT_EQ(osCalls().read(0, nullptr, 0), -1);
    EXPECT_EQ(osCalls().select(0, nullptr, nullptr, nullptr, nullptr), -1);
}

}  // namespace osCallGuardTest
