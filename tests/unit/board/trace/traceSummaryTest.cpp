// Summarising a trace: the table and the verdict.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/traceSummary.h"

#include "tests/support/test.h"

namespace halvexboard::traceSummaryTest {

struct Clock {
    const char* name;
    std::int64_t differenceNs;
    bool isEnabled;
};

std::string record(const char* kind, std::uint64_t rawNs, const std::vector<Clock>& clocks) {
    std::string line = "{\"seq\":0,\"raw_ns\":" + std::to_string(rawNs) + ",\"kind\":\"" + kind + "\",\"clocks\":{";
    for (const Clock& clock : clocks)
        line += std::string(line.back() == '{' ? "" : ",") + "\"" + clock.name +
                "\":{\"difference_ns\":" + std::to_string(clock.differenceNs) +
                ",\"time_ns\":" + std::to_string(1'000'000'000 + rawNs) +
                ",\"enabled\":" + (clock.isEnabled ? "true" : "false") + "}";
    return line + "}}\n";
}

TraceSummary summaryOf(const std::string& trace) {
    std::istringstream stream(trace);
    return summariseTrace(stream);
}

std::string mistakeOf(const std::string& trace) {
    try {
        summaryOf(trace);
    } catch (const TraceError& error) {
        return error.what();
    }
    return "accepted";
}

const std::string kStart = "{\"seq\":0,\"raw_ns\":0,\"kind\":\"start\",\"seed\":42}\n";

TEST(TraceSummary, KeepsFirstLastAndWorstOfTheEnabledRecords) {
    const TraceSummary summary = summaryOf(kStart + record("truth", 0, {{"ferrox", 0, true}, {"enp1s0", 350, true}}) +
                                           record("epoch", 10, {{"ferrox", 0, true}, {"enp1s0", -9000, true}}) +
                                           record("truth", 20, {{"ferrox", 0, true}, {"enp1s0", 777777, false}}) +
                                           record("truth", 30, {{"ferrox", 0, true}, {"enp1s0", -7, true}}));
    ASSERT_EQ(summary.clocks.size(), 2U);
    const ClockSummary& phc = summary.clocks[1];
    EXPECT_EQ(phc.name, "enp1s0");
    EXPECT_EQ(phc.records, 3U);
    EXPECT_EQ(phc.firstNs, 350);
    EXPECT_EQ(phc.worstNs, -9000);
    EXPECT_EQ(phc.lastNs, -7);
    EXPECT_TRUE(phc.isEnabledAtEnd);
    EXPECT_EQ(summary.seed, 42U);
    EXPECT_EQ(summary.epochs, 1U);
    EXPECT_EQ(summary.durationNs, 30U);
}

TEST(TraceSummary, TakesNumbersBeyondItsOwnForTheirGreatest) {
    const TraceSummary summary = summaryOf(
        "{\"raw_ns\":1e300,\"kind\":\"start\",\"seed\":-5}\n"
        "{\"raw_ns\":1e300,\"kind\":\"truth\",\"clocks\":{"
        "\"a\":{\"difference_ns\":1e300,\"time_ns\":1e300,\"enabled\":true},"
        "\"b\":{\"difference_ns\":-1e300,\"time_ns\":0,\"enabled\":true}}}\n");
    EXPECT_EQ(summary.seed, 0U);
    EXPECT_EQ(summary.durationNs, UINT64_MAX - 2047);
    EXPECT_EQ(summary.clocks.at(0).lastNs, INT64_MAX - 1023);
    EXPECT_EQ(summary.clocks.at(1).lastNs, INT64_MIN);
}

TEST(TraceSummary, CountsStepsAndFaults) {
    const TraceSummary summary = summaryOf(
        "{\"raw_ns\":1,\"kind\":\"step\"}\n{\"raw_ns\":2,\"kind\":\"fault\"}\n"
        "{\"raw_ns\":3,\"kind\":\"step\"}\n{\"raw_ns\":4,\"kind\":\"syslog\"}\n");
    EXPECT_EQ(summary.steps, 2U);
    EXPECT_EQ(summary.faults, 1U);
}

class Verdict : public ::testing::TestWithParam<std::pair<std::int64_t, bool>> {};

TEST_P(Verdict, AllowsOneHundredNanosecondsEitherWay) {
    const TraceSummary summary = summaryOf(record("epoch", 0, {{"ferrox", 0, true}, {"fpga", GetParam().first, true}}));
    EXPECT_EQ(summary.isAligned(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Limits, Verdict,
                         ::testing::Values(std::pair<std::int64_t, bool>{100, true},
                                           std::pair<std::int64_t, bool>{-100, true},
                                           std::pair<std::int64_t, bool>{101, false},
                                           std::pair<std::int64_t, bool>{-101, false}));

TEST(TraceSummary, IsNotAlignedWithoutAnEpoch) {
    EXPECT_FALSE(summaryOf(record("truth", 0, {{"ferrox", 0, true}, {"fpga", 0, true}})).isAligned());
    EXPECT_THAT(formatSummary(summaryOf(kStart)), testing::HasSubstr("verdict: FAILED, no epoch was ever generated"));
}

TEST(TraceSummary, IsNotAlignedWithoutAnyEnabledSlave) {
    const TraceSummary summary = summaryOf(record("epoch", 0, {{"ferrox", 0, true}, {"fpga", 0, false}}));
    EXPECT_FALSE(summary.isAligned());
    EXPECT_THAT(formatSummary(summary), testing::HasSubstr("verdict: FAILED, no clock besides the master"));
}

TEST(TraceSummary, AClockThatDroppedOutMisalignedStillCounts) {
    const TraceSummary summary =
        summaryOf(record("epoch", 0, {{"ferrox", 0, true}, {"fpga", 5000, true}, {"enp1s0", 1, true}}) +
                  record("truth", 9, {{"ferrox", 0, true}, {"fpga", 0, false}, {"enp1s0", 1, true}}));
    EXPECT_FALSE(summary.isAligned());
    EXPECT_THAT(formatSummary(summary), testing::HasSubstr("further than 100 ns from the master: fpga (+5 000 ns)\n"));
}

TEST(TraceSummary, PrintsAlignedColumnsWithUnitsAndTheVerdictLast) {
    const TraceSummary summary = summaryOf(
        kStart + record("epoch", 1, {{"ferrox", 0, true}, {"enp1s0", 3200000000, true}, {"system", 5, false}}) +
        record("truth", 12'345'678'901, {{"ferrox", 0, true}, {"enp1s0", -41, true}, {"system", 5, false}}));
    EXPECT_EQ(formatSummary(summary),
              "seed 42, 12.345 s, 1 epochs, 0 steps, 0 faults injected\n"
              "master from 1.000000 s to 13.345679 s\n"
              "clock    first difference  last difference   worst difference  records  at the end\n"
              "ferrox               0 ns             0 ns               0 ns        2  enabled\n"
              "enp1s0  +3 200 000 000 ns           -41 ns  +3 200 000 000 ns        2  enabled\n"
              "system                  -                -                  -        0  never enabled\n"
              "verdict: every enabled clock within 100 ns of the master\n");
}

TEST(TraceSummary, NamesTheLineThatIsNoTrace) {
    EXPECT_EQ(mistakeOf(kStart + "not json\n\n" + kStart), "trace line 2: not a JSON object");
    EXPECT_EQ(mistakeOf("\n\n"), "the trace is empty");
    EXPECT_THAT(mistakeOf("{\"kind\":\"start\",\"rawNs\":1}\n"), testing::HasSubstr("it is a record"));
    EXPECT_EQ(mistakeOf("[1]\n"), "trace line 1: not a JSON object");
    EXPECT_EQ(mistakeOf("{\"raw_ns\":1}\n"), "trace line 1: no kind");
    EXPECT_EQ(mistakeOf("{\"kind\":\"call\"}\n"), "trace line 1: no number raw_ns");
    EXPECT_EQ(mistakeOf("{\"kind\":\"truth\",\"raw_ns\":1}\n"), "trace line 1: no clocks");
    EXPECT_EQ(mistakeOf("{\"kind\":\"truth\",\"raw_ns\":1,\"clocks\":{\"fpga\":{}}}\n"),
              "trace line 1: no number time_ns");
    EXPECT_EQ(mistakeOf("{\"kind\":\"truth\",\"raw_ns\":1,\"clocks\":{\"fpga\":{\"time_ns\":1}}}\n"),
              "trace line 1: no number difference_ns");
}

TEST(TraceSummary, LeavesOutALastLineThatAKillToreAndTheEmptyLinesBehindIt) {
    const std::string trace = kStart + "{\"raw_ns\":1,\"kind\":\"step\"}\n";
    EXPECT_EQ(formatSummary(summaryOf(trace + "{\"raw_ns\":2,\"ki\n\n\n")), formatSummary(summaryOf(trace)));
}

std::string log(std::uint64_t rawNs, const std::string& text) {
    return "{\"raw_ns\":" + std::to_string(rawNs) + ",\"kind\":\"syslog\",\"priority\":6,\"text\":\"" + text + "\"}\n";
}

std::string step(std::uint64_t rawNs, const char* by) {
    return "{\"raw_ns\":" + std::to_string(rawNs) +
           ",\"kind\":\"step\",\"clock\":\"fpga\",\"asked_ns\":-200,\"by\":\"" + by + "\"}\n";
}

TraceSummary summaryOf(const std::string& trace, const Stretch& stretch) {
    std::istringstream stream(trace);
    return summariseTrace(stream, stretch);
}

std::string truthOf(std::uint64_t rawNs, std::int64_t fpgaNs) {
    return record("truth", rawNs, {{"ferrox", 0, true}, {"fpga", fpgaNs, true}});
}

TEST(StretchOfATrace, HoldsWhatHappenedBetweenTwoLogLinesAndTheLastTruthBefore) {
    const TraceSummary summary =
        summaryOf(record("epoch", 5, {{"ferrox", 0, true}, {"fpga", 5000, true}}) + truthOf(10, 40) +
                      step(11, "program") + log(20, "begin") + step(21, "phc2sys") + truthOf(30, 70) + log(40, "end") +
                      truthOf(50, 900) + step(51, "program"),
                  {"begin", "end"});
    EXPECT_EQ(summary.steps, 1U);
    EXPECT_EQ(summary.durationNs, 10U);
    EXPECT_EQ(summary.clocks[1].records, 2U);
    EXPECT_EQ(summary.clocks[1].firstNs, 40);
    EXPECT_EQ(summary.clocks[1].lastNs, 70);
    EXPECT_DOUBLE_EQ(summary.firstTimeNs, 1'000'000'010);
    EXPECT_DOUBLE_EQ(summary.lastTimeNs, 1'000'000'030);
    EXPECT_TRUE(summary.isAligned()) << "an epoch before the stretch counts";
}

TEST(StretchOfATrace, ListsWhatHappenedWithItsDelay) {
    const std::string trace = log(1'000'000, "begin") + step(3'000'000, "program") + truthOf(3'500'000, 0) +
                              "{\"raw_ns\":4000000,\"kind\":\"status_record\",\"record\":\"13\",\"not_aligned\":true,"
                              "\"reference_kind\":2,\"reference_offset\":null}\n"
                              "{\"raw_ns\":4000001,\"kind\":\"call\",\"call\":\"open\"}\n";
    EXPECT_THAT(formatSummary(summaryOf(trace, {"begin", ""}), true),
                testing::StartsWith("0.000000 s  syslog text=begin\n"
                                    "0.002000 s  step clock=fpga asked_ns=-200 by=program\n"
                                    "0.003000 s  status_record record=13 not_aligned=true reference_kind=2 "
                                    "reference_offset=none\n"
                                    "seed 0, 0.003 s,"));
}

TEST(StretchOfATrace, NamesTheLogLineThatIsNotThere) {
    const auto mistake = [](const Stretch& stretch) {
        try {
            summaryOf(log(1, "begin") + log(2, "last"), stretch);
        } catch (const TraceError& error) {
            return std::string(error.what());
        }
        return std::string("accepted");
    };
    EXPECT_EQ(mistake({"begin", "last"}), "accepted");
    EXPECT_EQ(mistake({"oops", ""}), "the trace has no log line \"oops\"");
    EXPECT_EQ(mistake({"last", "begin"}), "the trace has no log line \"begin\" after \"last\"");
}

}  // namespace halvexboard::traceSummaryTest
