// Tests of summarising a watch.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/watchSummary.h"

#include "tests/unit/host/clocks/sampleAt.h"

namespace halvexctl::watchSummaryTest {

using namespace testing;

TEST(WatchSummaryTest, HasCountLeastGreatestMeanAndRmsOfEachClockButTheReference) {
    WatchSummary summary;
    for (const std::int64_t aheadNs : {-30, 40, 20}) {
        summary.add(sampleAt(0, aheadNs));
    }
    EXPECT_EQ(summary.asText({}),
              "  clock   count   least  greatest    mean  rms\n"
              "  master      0       -         -       -  -\n"
              "  enp1s0      3  -30 ns    +40 ns  +10 ns  31 ns\n");
    Result result;
    summary.addTo(result);
    EXPECT_EQ(result.fields[2].value.dump(),
              R"([{"name":"master","count":0},)"
              R"({"name":"enp1s0","count":3,"leastNs":-30,"greatestNs":40,"meanNs":10,"rmsNs":31}])");
}

TEST(WatchSummaryTest, CountsHowOftenEachAlarmBeganAndWhenItWasThere) {
    WatchSummary summary;
    const std::vector<std::optional<std::int64_t>> aheadNs{{}, 0, {}, {}, 5'000, 0};
    for (std::uint64_t i = 0; i < aheadNs.size(); ++i) {
        summary.add(sampleAt(i, aheadNs[i]));
    }
    EXPECT_EQ(summary.samples(), 6U);
    EXPECT_EQ(summary.samplesWithAlarm(), 4U);
    EXPECT_EQ(summary.begun({"gone", "enp1s0"}), 2U);
    EXPECT_EQ(summary.begun({"away", "enp1s0"}), 1U);
    EXPECT_EQ(summary.begun({"dead", ""}), 0U);
    EXPECT_THAT(summary.asText({}), HasSubstr("  alarm  clock   begun  samples  first                           last\n"
                                              "  away   enp1s0      1        1  2023-11-14T22:13:24.000000000Z  "
                                              "2023-11-14T22:13:24.000000000Z\n"
                                              "  gone   enp1s0      2        3  2023-11-14T22:13:20.000000000Z  "
                                              "2023-11-14T22:13:23.000000000Z\n"));
}

TEST(WatchSummaryTest, CountsEveryJump) {
    WatchSummary summary;
    Sample sample = sampleAt(0, 0);
    sample.clocks[1].jumpNs = 1'000;
    summary.add(sample);
    summary.add(sample);
    EXPECT_EQ(summary.begun({"jumped", "enp1s0"}), 2U);
}

TEST(WatchSummaryTest, StaysOneTableOnANarrowScreen) {
    WatchSummary summary;
    summary.add(sampleAt(0, {}));
    summary.add(sampleAt(1, 40));
    EXPECT_EQ(summary.asText({false, 35}),
              "  clock   count   least  greatest\n"
              "      mean  rms\n"
              "  master      0       -         -\n"
              "         -  -\n"
              "  enp1s0      1  +40 ns    +40 ns\n"
              "    +40 ns  40 ns\n"
              "  alarm  clock   begun  samples\n"
              "    first\n"
              "    last\n"
              "  gone   enp1s0      1        1\n"
              "    2023-11-14T22:13:20.000000000Z\n"
              "    2023-11-14T22:13:20.000000000Z\n");
}

}  // namespace halvexctl::watchSummaryTest
