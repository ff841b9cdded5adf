// Tests of the metrics, and of the documents, alerts and dashboard that use them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/metrics.h"

#include <regex>

#include "tests/support/files.h"
#include "tests/unit/host/clocks/sampleAt.h"

namespace halvexctl::metricsTest {

using namespace testing;

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
        EXPECT_TRUE(std::ranges::includes(metrics, used)) << user << ": " << PrintToString(used);
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

}  // namespace halvexctl::metricsTest
