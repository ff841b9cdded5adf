// Tests of finding alignment runs in a trace or a log.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/alignmentFinder.h"

#include "tests/support/test.h"

namespace halvexctl::alignmentFinderTest {

using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kAligned = "Successfully aligned all timekeeping elements after 2 iterations.";
constexpr const char* kMissed = "Encountered err while trying to sync enp1s0, retry count 0: FAIL(-52007,null)";

class AlignmentRuns : public testing::Test {
protected:
    void iterate(std::int64_t rawNs, std::uint64_t stampNs, std::int64_t trueNs) {
        finder_.epoch(rawNs);
        finder_.truth("enp1s0", trueNs);
        finder_.master(1'000'000);
        finder_.stamp("enp1s0", stampNs);
    }

    AlignmentFinder finder_;
};

TEST_F(AlignmentRuns, ShowEachIterationWithWhatWasReadWasTrueAndWasDone) {
    iterate(100, 1'000'700, 690);
    finder_.step("enp1s0", -700, -2'200);
    iterate(200, 999'960, -42);
    finder_.logLine(250, kAligned);
    const std::vector<AlignmentRun> runs = finder_.take();
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_TRUE(runs[0].isAligned);
    EXPECT_EQ(runs[0].beganRawNs, 100);
    EXPECT_EQ(runs[0].endedRawNs, 250);
    EXPECT_EQ(runs[0].saidIterations, 2);
    ASSERT_THAT(runs[0].iterations, SizeIs(2));
    const SlaveIteration& first = runs[0].iterations[0].slaves.at("enp1s0");
    EXPECT_EQ(first.measuredNs, 700);
    EXPECT_EQ(first.trueNs, 690);
    EXPECT_EQ(first.askedNs, -700);
    EXPECT_EQ(first.movedNs, -2'200);
    const SlaveIteration& second = runs[0].iterations[1].slaves.at("enp1s0");
    EXPECT_EQ(second.measuredNs, -40);
    EXPECT_FALSE(second.askedNs);
}

TEST_F(AlignmentRuns, AreToldApart) {
    iterate(100, 1'000'000, 0);
    finder_.logLine(110, kAligned);
    iterate(900, 1'000'000, 0);
    finder_.logLine(910, kAligned);
    EXPECT_THAT(finder_.take(), SizeIs(2));
}

TEST_F(AlignmentRuns, CountOnlyTheFirstStampOfAnEpoch) {
    iterate(100, 1'000'050, 50);
    finder_.stamp("enp1s0", 1'000'999);
    finder_.logLine(110, kAligned);
    EXPECT_EQ(finder_.take().at(0).iterations.at(0).slaves.at("enp1s0").measuredNs, 50);
}

TEST_F(AlignmentRuns, IgnoreWhatIsReadBeforeTheMasterWasAsked) {
    finder_.stamp("enp1s0", 5);
    finder_.epoch(100);
    finder_.stamp("enp1s0", 7);
    finder_.logLine(110, kAligned);
    finder_.master(9);
    finder_.logLine(110, kAligned);
    const std::vector<AlignmentRun> runs = finder_.take();
    EXPECT_THAT(runs.at(0).iterations, IsEmpty());
    EXPECT_THAT(runs.at(1).iterations.at(0).slaves, IsEmpty());
}

TEST_F(AlignmentRuns, AreNotMadeOfEpochsThatNobodyAskedTheMasterAbout) {
    finder_.epoch(1'000);
    finder_.epoch(2'000);
    iterate(3'000, 1'000'010, 10);
    finder_.epoch(3'500);
    finder_.stamp("enp2s0", 5);
    finder_.logLine(3'600, kAligned);
    const AlignmentRun run = finder_.take().at(0);
    EXPECT_EQ(run.beganRawNs, 3'000);
    ASSERT_THAT(run.iterations, SizeIs(1));
    EXPECT_FALSE(run.iterations[0].slaves.contains("enp2s0"));
}

TEST_F(AlignmentRuns, IgnoreStepsOfClocksThatTakeNoPart) {
    iterate(100, 1'000'000, 0);
    finder_.step("CLOCK_REALTIME", 40'000, 40'000);
    finder_.logLine(110, kAligned);
    EXPECT_FALSE(finder_.take().at(0).iterations.at(0).slaves.contains("CLOCK_REALTIME"));
}

TEST_F(AlignmentRuns, KeepErrorsThatWereForgiven) {
    finder_.logLine(90, kMissed);
    iterate(100, 1'000'000, 0);
    finder_.logLine(110, kAligned);
    const AlignmentRun run = finder_.take().at(0);
    EXPECT_TRUE(run.isAligned);
    EXPECT_EQ(run.beganRawNs, 90);
    EXPECT_THAT(run.errors, testing::ElementsAre(kMissed));
}

TEST_F(AlignmentRuns, EndUnalignedWithTheCallThatFailed) {
    iterate(100, 1'000'700, 700);
    finder_.logLine(110, kMissed);
    finder_.logLine(120, "Encountered error in getTime: FAIL(-52007,null)");
    const AlignmentRun run = finder_.take().at(0);
    EXPECT_FALSE(run.isAligned);
    EXPECT_EQ(run.endedRawNs, 120);
    EXPECT_THAT(run.errors, SizeIs(2));
}

TEST_F(AlignmentRuns, AreNotMadeOfErrorsElsewhere) {
    finder_.logLine(120, "Monitoring thread encountered an error: FAIL(-52024,null)");
    EXPECT_THAT(finder_.take(), IsEmpty());
}

TEST_F(AlignmentRuns, FromALogAloneHaveNoIterationsButTheirCount) {
    finder_.logLine(110, kAligned);
    const AlignmentRun run = finder_.take().at(0);
    EXPECT_EQ(run.saidIterations, 2);
    EXPECT_EQ(run.beganRawNs, 110);
    EXPECT_THAT(run.iterations, IsEmpty());
}

TEST_F(AlignmentRuns, ThatNeverEndCountAsNotAligned) {
    iterate(100, 1'000'700, 700);
    const AlignmentRun run = finder_.take().at(0);
    EXPECT_FALSE(run.isAligned);
    EXPECT_EQ(run.endedRawNs, 100);
}

}  // namespace halvexctl::alignmentFinderTest
