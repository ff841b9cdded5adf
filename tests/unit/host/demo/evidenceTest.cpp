// Tests of what is read out of one chapter's stretch of the trace.
#include "host/demo/evidence.h"

#include <gtest/gtest.h>

#include "tests/unit/host/demo/sampleTrace.h"

namespace halvexdemo {
namespace {

using Lines = std::vector<std::string>;

TEST(EvidenceOfAChapter, ListsTheClocksInTheOrderOfTheBoard) {
    const std::vector<Happening> all{sample::start(), sample::truth(5, 7), sample::log(6, "mark")};
    const Truth truth = Evidence(all, 2, {}).truthBefore();
    ASSERT_EQ(truth.clocks.size(), 3u);
    EXPECT_EQ(truth.clocks[0].name, "ferrox");
    EXPECT_EQ(truth.clocks[1].name, "fpga");
    EXPECT_EQ(truth.clocks[1].differenceNs, 7);
}

TEST(EvidenceOfAChapter, KnowsTheTruthBeforeItAtItsEndAndAfterAnInstant) {
    const std::vector<Happening> all{sample::start(),        sample::truth(1, 11), sample::truth(2, 22),
                                     sample::log(3, "mark"), sample::truth(4, 44), sample::truth(5, 55)};
    const Evidence evidence(all, 3, {});
    EXPECT_EQ(evidence.beganRawNs(), 3u);
    EXPECT_EQ(evidence.truthBefore().find("fpga")->differenceNs, 22);
    EXPECT_EQ(evidence.truthAtEnd().find("fpga")->differenceNs, 55);
    EXPECT_EQ(evidence.firstTruthAfter(4)->find("fpga")->differenceNs, 55);
    EXPECT_EQ(evidence.firstTruthAfter(5), std::nullopt);
}

TEST(EvidenceOfAChapter, LeavesOutWhatHappenedBefore) {
    const std::vector<Happening> all{sample::start(),        sample::truth(1, 0),
                                     sample::log(1, "old"),  sample::step(1, "fpga", 5),
                                     sample::log(2, "mark"), sample::log(3, "new line")};
    const Evidence evidence(all, 4, {});
    EXPECT_EQ(evidence.logLines(), (Lines{"mark", "new line"}));
    EXPECT_FALSE(evidence.logged("old"));
    EXPECT_TRUE(evidence.logged("new line"));
    EXPECT_EQ(evidence.logLinesStarting("new"), Lines{"new line"});
    EXPECT_TRUE(evidence.stepsByProgram("fpga").empty());
}

TEST(EvidenceOfAChapter, TellsTheProgramsStepsFromThoseOfPhc2sys) {
    const std::vector<Happening> all{sample::log(1, "mark"), sample::step(2, "system", 200),
                                     sample::step(3, "system", 7, "phc2sys"), sample::step(4, "ferrox", 400)};
    const std::vector<Happening> steps = Evidence(all, 0, {}).stepsByProgram("system");
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps.front().at("asked_ns"), 200);
}

TEST(EvidenceOfAChapter, ReadsWhatTheHostPrintedBesideALabel) {
    const std::vector<Happening> all{sample::log(1, "mark")};
    const Evidence evidence(all, 0,
                            {"get", "  time        2024", "  since 1970  5 ns", "  time        2025", "  -> call()"});
    EXPECT_EQ(evidence.hostValues("time"), (Lines{"2024", "2025"}));
    EXPECT_EQ(evidence.hostValues("since 1970"), Lines{"5 ns"});
    EXPECT_EQ(evidence.hostValues("since"), Lines{});
    EXPECT_EQ(evidence.hostLinesStarting("-> call"), 1u);
}

}  // namespace
}  // namespace halvexdemo
