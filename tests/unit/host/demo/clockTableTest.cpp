// Tests of the table of differences.
#include "host/demo/clockTable.h"

#include <gtest/gtest.h>

#include <limits>

namespace halvexdemo {
namespace {

Truth truthOf(std::int64_t fpgaNs, bool fpgaEnabled, std::int64_t systemNs) {
    return Truth{0, {{"ferrox", 0, 0, true}, {"fpga", fpgaNs, 0, fpgaEnabled}, {"system", systemNs, 0, true}}};
}

TEST(GroupedNs, SeparatesThousandsAndKeepsTheSign) {
    EXPECT_EQ(groupedNs(0), "0 ns");
    EXPECT_EQ(groupedNs(-412), "-412 ns");
    EXPECT_EQ(groupedNs(1'250'000), "+1 250 000 ns");
    EXPECT_EQ(groupedNs(std::numeric_limits<std::int64_t>::min()), "-9 223 372 036 854 775 808 ns");
}

TEST(ClockTable, AlignsNumbersUnderTheirHeadings) {
    EXPECT_EQ(clockTable({{"before", truthOf(1'250'000, true, -5)}, {"after", truthOf(-99, false, 100)}}),
              "  clock           before                  after\n"
              "  ferrox            0 ns                   0 ns\n"
              "  fpga     +1 250 000 ns   (not enabled) -99 ns\n"
              "  system           -5 ns                +100 ns\n");
}

TEST(ClocksAway, NamesEnabledClocksFurtherThan100Ns) {
    EXPECT_EQ(clocksAway(truthOf(100, true, -100)), "");
    EXPECT_EQ(clocksAway(truthOf(101, true, 0)), "fpga (+101 ns)");
    EXPECT_EQ(clocksAway(truthOf(-101, true, 5'000)), "fpga (-101 ns), system (+5 000 ns)");
    EXPECT_EQ(clocksAway(truthOf(1'000'000, false, 0)), "");
}

}  // namespace
}  // namespace halvexdemo
