// Tests of clock samples: differences, alarms and the three output formats.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockSample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvexctl {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kSystemNs = 1'700'000'000'000'000'000;

ClockSample clockAt(const std::string& name, std::int64_t fromSystemNs, std::int64_t boundNs) {
    ClockSample clock;
    clock.name = name;
    clock.cross = CrossTime{kSystemNs, fromSystemNs, boundNs};
    return clock;
}

Sample sampleOf(std::vector<ClockSample> clocks) {
    Sample sample;
    sample.systemNs = kSystemNs;
    sample.rawNs = 1'000'000'000;
    sample.clocks = std::move(clocks);
    compare(sample);
    return sample;
}

/// The same clocks one second later, with the first of them moved.
Sample laterBy(const Sample& before, std::int64_t movedNs) {
    Sample later = before;
    later.systemNs += 1'000'000'000;
    later.rawNs += 1'000'000'000;
    for (ClockSample& clock : later.clocks) {
        clock.cross->systemNs = later.systemNs;
    }
    later.clocks[0].cross->differenceNs += movedNs;
    findJumps(before, later);
    return later;
}

TEST(CompareClocks, TakesTheFirstThatCouldBeMeasuredAsReference) {
    ClockSample unreadable;
    unreadable.name = "master";
    unreadable.error = "gone";
    const Sample sample = sampleOf({unreadable, clockAt("enp1s0", 500, 20), clockAt("CLOCK_REALTIME", 0, 0)});
    EXPECT_EQ(sample.reference, "enp1s0");
    EXPECT_EQ(sample.clocks[2].differenceNs, -500);
    EXPECT_EQ(sample.clocks[2].boundNs, 20);
    EXPECT_FALSE(sample.clocks[0].differenceNs);
}

TEST(CompareClocks, AlarmsOnlyBeyond100NsForCertain) {
    EXPECT_FALSE(sampleOf({clockAt("a", 0, 30), clockAt("b", 150, 20)}).clocks[1].isAway);
    EXPECT_TRUE(sampleOf({clockAt("a", 0, 30), clockAt("b", 151, 20)}).clocks[1].isAway);
    EXPECT_TRUE(sampleOf({clockAt("a", 0, 30), clockAt("b", -151, 20)}).hasAlarm());
}

TEST(CompareClocks, WidensTheBoundByTheTimeBetweenTheReadings) {
    ClockSample later = clockAt("b", 0, 10);
    later.cross->systemNs += 1'000'000;
    EXPECT_EQ(sampleOf({clockAt("a", 0, 10), later}).clocks[1].boundNs, 220);
}

TEST(CompareClocks, SurvivesThatNoClockCanBeRead) {
    ClockSample unreadable;
    unreadable.name = "enp1s0";
    const Sample sample = sampleOf({unreadable});
    EXPECT_EQ(sample.reference, "");
    EXPECT_TRUE(sample.hasAlarm());
}

TEST(FindJumps, CallsAJumpOnlyWhatNoSteeringExplains) {
    const Sample before = sampleOf({clockAt("a", 0, 10), clockAt("b", 0, 10)});
    EXPECT_FALSE(laterBy(before, 200'020).clocks[0].jumpNs);
    EXPECT_EQ(laterBy(before, 200'021).clocks[0].jumpNs, 200'021);
    EXPECT_EQ(laterBy(before, -200'021).clocks[0].jumpNs, -200'021);
    EXPECT_FALSE(laterBy(before, 200'021).clocks[1].jumpNs);
}

TEST(FindJumps, SeesTheSystemClockJump) {
    const Sample before = sampleOf({clockAt("CLOCK_REALTIME", 0, 0)});
    Sample later = before;
    later.rawNs += 1'000'000'000;
    later.systemNs += 3'000'000'000;
    findJumps(before, later);
    EXPECT_EQ(later.clocks[0].jumpNs, 2'000'000'000);
}

TEST(ShowSample, TextMarksAlarmsAndIsColouredOnlyWhenAsked) {
    const Sample sample = sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20)});
    EXPECT_THAT(sampleAsText(sample, false), HasSubstr("+1.5 us"));
    EXPECT_THAT(sampleAsText(sample, false), HasSubstr("AWAY"));
    EXPECT_THAT(sampleAsText(sample, false), Not(HasSubstr("\x1b")));
    EXPECT_THAT(sampleAsText(sample, true), HasSubstr("\x1b[31menp1s0"));
}

TEST(ShowSample, MetricsAreInSecondsAndLeaveOutWhatIsUnknown) {
    Sample sample = sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20)});
    EXPECT_THAT(sampleAsMetrics(sample), HasSubstr("halvex_clock_difference_seconds{clock=\"enp1s0\"} 0.000001500\n"));
    EXPECT_THAT(sampleAsMetrics(sample), HasSubstr("# TYPE halvex_library_errors_total counter\n"));
    EXPECT_THAT(sampleAsMetrics(sample), Not(HasSubstr("halvex_steering_ppb")));
    sample.steeringPpb = -1250;
    EXPECT_THAT(sampleAsMetrics(sample), HasSubstr("\nhalvex_steering_ppb -1250.000000000\n"));
}

TEST(ShowSample, JsonHasEveryClock) {
    const auto json = sampleAsJson(sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20)}));
    EXPECT_EQ(json["clocks"][1]["differenceNs"], 1'500);
    EXPECT_EQ(json["clocks"][1]["boundNs"], 50);
    EXPECT_TRUE(json["alarm"]);
    EXPECT_TRUE(json["phc2sysAlive"].is_null());
}

}  // namespace
}  // namespace halvexctl
