// Tests of the program's clocks on the board: a private system clock, monotonic clocks on virtual time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/time.h>
#include <sys/timex.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace shimClocksTest {

class Clocks : public BoardOn {
protected:
    Clocks() { switchOn(); }
};

TEST_F(Clocks, OfTheSystemStartWhereTheScenarioSaysWhoeverReadsThem) {
    constexpr std::int64_t kStart = 1'700'000'000;
    EXPECT_EQ(static_cast<std::int64_t>(now(CLOCK_REALTIME) / kSecond), kStart);
    EXPECT_EQ(time(nullptr), kStart);
    timeval day{};
    ASSERT_EQ(gettimeofday(&day, nullptr), 0);
    EXPECT_EQ(day.tv_sec, kStart);
    EXPECT_EQ(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count(),
        kStart);
}

TEST_F(Clocks, OfTheSystemAreSetWithoutTheMachineNoticing) {
    const timespec wanted{1'234'567'890, 17};
    const std::uint64_t monotonic = now(CLOCK_MONOTONIC);
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &wanted), 0);
    EXPECT_EQ(now(CLOCK_REALTIME) / kSecond, 1'234'567'890U);
    EXPECT_LT(now(CLOCK_MONOTONIC) - monotonic, kMillisecond);
    const timespec broken{5, 1'000'000'000};
    EXPECT_THAT(clock_settime(CLOCK_REALTIME, &broken), FailsWith(EINVAL));
    board_.reset();
    EXPECT_GT(now(CLOCK_REALTIME) / kSecond, 1'700'000'000U) << "the machine's own clock is untouched";
}

TEST_F(Clocks, SayThatNobodyDisciplinesThem) {
    timex state{};
    EXPECT_EQ(adjtimex(&state), TIME_ERROR);
    EXPECT_NE(state.status & STA_UNSYNC, 0);
}

TEST_F(Clocks, MoveByWhatCallsCost) {
    const std::uint64_t first = now(CLOCK_MONOTONIC);
    EXPECT_GT(now(CLOCK_MONOTONIC), first);
    EXPECT_GE(now(CLOCK_MONOTONIC_RAW), first);
    EXPECT_GE(now(CLOCK_BOOTTIME), first);
}

TEST_F(Clocks, AreReadMidwayThroughTheCall) {
    const Fd ferrox(open(BOARD_WIRE_FERROX_NODE, O_RDWR | O_CLOEXEC));
    const Fd ptp(open("/dev/ptp0", O_RDONLY | O_CLOEXEC));
    DriverCall call;
    const auto behindTheSystemNs = [](auto readNs) {
        const std::uint64_t beforeNs = now(CLOCK_REALTIME);
        const std::uint64_t clockNs = readNs();
        const std::uint64_t afterNs = now(CLOCK_REALTIME);
        return static_cast<std::int64_t>(beforeNs + (afterNs - beforeNs) / 2 - clockNs);
    };
    const std::int64_t master = behindTheSystemNs([&] {
        EXPECT_EQ(call.get(ferrox, BOARD_WIRE_FERROX_GET_TIME), 0);
        return call.result;
    });
    const std::int64_t interface = behindTheSystemNs([&] { return now(BOARD_WIRE_FD_TO_CLOCK(ptp)); });
    constexpr double kOwnCostNs = 25;  // of the readings around
    EXPECT_NEAR(master, board_->differenceNs(BOARD_CLOCK_SYSTEM), kOwnCostNs);
    EXPECT_NEAR(master - interface, board_->differenceNs(BOARD_CLOCK_PHC(kFirst)), 2 * kOwnCostNs);
}

TEST_F(Clocks, OfTheProcessorAreTheMachines) {
    timespec used{};
    EXPECT_EQ(clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used), 0);
    EXPECT_LT(used.tv_sec, 60);
}

}  // namespace shimClocksTest
