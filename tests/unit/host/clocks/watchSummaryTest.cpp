// Tests of summarising a watch, and of its metrics.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/watchSummary.h"

#include <regex>

#include "host/clocks/metrics.h"
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace halvexctl::watchSummaryTest {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

/// The reference and another clock ahead of it by this much; empty: gone.
Sample sampleAt(std::uint64_t second, std::optional<std::int64_t> aheadNs, const std::string& name = "enp1s0") {
    Sample sample;
    sample.systemNs = 1'700'000'000'000'000'000 + second * 1'000'000'000;
    sample.clocks.resize(2);
    sample.clocks[0].name = "master";
    sample.clocks[0].cross = CrossTime{sample.systemNs, 0, 30};
    sample.clocks[1].name = name;
    sample.clocks[1].isGone = !aheadNs;
    if (aheadNs) {
        sample.clocks[1].cross = CrossTime{sample.systemNs, *aheadNs, 20};
    }
    compare(sample);
    return sample;
}

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

TEST(Metrics, AreInSecondsAndLeaveOutWhatIsUnknown) {
    Sample sample = sampleAt(0, 1'500);
    EXPECT_THAT(metricsOf(sample, {}), HasSubstr("halvex_clock_difference_seconds{clock=\"enp1s0\"} 0.000001500\n"));
    EXPECT_THAT(metricsOf(sample, {}), HasSubstr("# TYPE halvex_library_errors_total counter\n"));
    EXPECT_THAT(metricsOf(sample, {}), Not(AnyOf(HasSubstr("halvex_steering_ratio"), HasSubstr("halvex_kernel"))));
    sample.steeringPpb = -1250;
    sample.kernelClock = {true, true, 16'000, 37, 2'500};
    sample.clocks[1].isUp = false;
    for (const char* line :
         {"halvex_steering_ratio -1.25e-06", "halvex_kernel_synchronised 1", "halvex_kernel_max_error_seconds 1.6e-05",
          "halvex_kernel_frequency_ratio 2.5e-06", "halvex_clock_link_up{clock=\"enp1s0\"} 0.000000000",
          "halvex_clocks 2", "halvex_reference{clock=\"master\"} 1", "halvex_sample_time_seconds 1700000000"}) {
        EXPECT_THAT(metricsOf(sample, {}), HasSubstr("\n" + std::string(line) + "\n"));
    }
    EXPECT_THAT(metricsOf(sample, {}), HasSubstr("halvex_build_info{version=\""));
}

TEST(Metrics, HaveOneStateAndCountHowOftenEachBeganAlsoWhenNobodyLooked) {
    WatchSummary summary;
    Sample sample = sampleAt(0, 0);
    for (const HealthState state :
         {HealthState::aligned, HealthState::aligned, HealthState::lost, HealthState::aligned}) {
        sample.health = state;
        summary.add(sample);
    }
    const std::string text = metricsOf(sample, summary);
    EXPECT_THAT(text, HasSubstr("halvex_health{state=\"aligned\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("halvex_health{state=\"lost\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("halvex_health_entered_total{state=\"aligned\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("halvex_health_entered_total{state=\"lost\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("halvex_health_entered_total{state=\"degraded\"} 0\n"));
}

TEST(Metrics, HaveEveryAlarmAndCountHowOftenItBeganAlsoWhenNobodyLooked) {
    WatchSummary summary;
    summary.add(sampleAt(0, {}));
    const Sample well = sampleAt(1, 0);
    summary.add(well);
    const std::string text = metricsOf(well, summary);
    EXPECT_THAT(text, HasSubstr("halvex_alarm{alarm=\"gone\",clock=\"enp1s0\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("halvex_alarms_total{alarm=\"gone\",clock=\"enp1s0\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("halvex_alarm{alarm=\"dead\",clock=\"\"} 0\n"));
    Sample ill = well;
    ill.childIsDead = true;
    EXPECT_THAT(metricsOf(ill, summary), HasSubstr("halvex_alarm{alarm=\"dead\",clock=\"\"} 1\n"));
}

TEST(Metrics, StayValidWhateverBytesAClocksNameHolds) {
    EXPECT_THAT(metricsOf(sampleAt(0, 0, "a\"b\\c\nd\xff"), {}),
                HasSubstr("halvex_clock_difference_seconds{clock=\"a\\\"b\\\\c\\nd\uFFFD\"} 0.000000000\n"));
}

std::set<std::string> matchesIn(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

TEST(Metrics, AreAllDocumentedAndTheAlertsAndTheDashboardUseNoOther) {
    Sample sample = sampleAt(0, 0);
    sample.steeringPpb = 0;
    sample.childIsAlive = true;
    sample.kernelClock.isKnown = true;
    sample.clocks[0].isUp = true;
    const std::string root = HALVEX_SOURCE_DIR "/";
    const std::string pattern = R"(\b(halvex_[a-z_]+))";
    const std::set<std::string> metrics = matchesIn(metricsOf(sample, {}), "# TYPE (halvex_[a-z_]+)");
    EXPECT_EQ(matchesIn(testsupport::fileContents(root + "docs/halvexctl.md"), pattern), metrics);
    for (const char* user : {"halvex.rules.yml", "halvex.test.yml", "halvex.dashboard.json"}) {
        const auto used = matchesIn(testsupport::fileContents(root + "packaging/prometheus/" + user),
                                    R"((?:^|[^:\w])(halvex_[a-z_]+))");
        EXPECT_GT(used.size(), 4U) << user;
        EXPECT_TRUE(std::ranges::includes(metrics, used)) << user << ": " << testing::PrintToString(used);
    }
}

TEST(Runbook, HasAHeadingForEveryAlarmStateAndAlert) {
    const std::string root = HALVEX_SOURCE_DIR "/";
    const std::string runbook = testsupport::fileContents(root + "docs/runbook.md");
    std::set<std::string> wanted =
        matchesIn(testsupport::fileContents(root + "packaging/prometheus/halvex.rules.yml"), "runbook.md#([a-z]+)");
    EXPECT_EQ(wanted, (std::set<std::string>{"errors", "stale", "steering", "unsynchronised"}));
    wanted.insert({"away", "jumped", "unreadable", "gone", "none", "dead", "lost", "unseeded", "degraded"});
    for (const std::string& heading : wanted) {
        EXPECT_THAT(runbook, HasSubstr("\n## " + heading + "\n"));
    }
}

}  // namespace halvexctl::watchSummaryTest
