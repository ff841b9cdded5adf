// Tests of the chapters: each has its words, and none passes without its evidence.
#include "host/demo/story.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/host/demo/sampleTrace.h"

namespace halvexdemo {
namespace {

bool passes(const Chapter& chapter, const std::vector<Happening>& all, std::size_t begin,
            std::vector<std::string> hostLines) {
    Findings findings;
    chapter.check(Evidence(all, begin, std::move(hostLines)), findings);
    const std::vector<Finding>& list = findings.list();
    return !list.empty() &&
           std::all_of(list.begin(), list.end(), [](const Finding& finding) { return finding.asExpected; });
}

const Chapter& chapterTitled(std::string_view beginning) {
    for (const Chapter& chapter : chapters()) {
        if (chapter.title.starts_with(beginning)) {
            return chapter;
        }
    }
    throw std::logic_error("no such chapter");
}

TEST(Chapters, NeverPassWhenNothingHappened) {
    const std::vector<Happening> all{sample::start(), sample::truth(0, 0), sample::log(1, "mark"), sample::truth(2, 0)};
    for (const Chapter& chapter : chapters()) {
        EXPECT_FALSE(passes(chapter, all, 2, {})) << chapter.title;
        EXPECT_FALSE(chapter.words.empty()) << chapter.title;
        EXPECT_FALSE(chapter.expectation.empty()) << chapter.title;
    }
}

TEST(Chapters, AreMarkedWithNumberAndTitle) { EXPECT_EQ(markOf(2, chapterTitled("Time")), "demo 2: Time"); }

TEST(ChapterOfTheForwardStep, PassesOnlyWithBothStepsOfTheRightSize) {
    const Chapter& chapter = chapterTitled("A step of +1.5 ms");
    const auto trace = [](std::int64_t ferroxNs, std::int64_t systemNs) {
        return std::vector<Happening>{
            sample::log(1, "mark"), sample::step(2, "ferrox", ferroxNs), sample::step(3, "system", systemNs),
            sample::log(4, "Successfully aligned all timekeeping elements after 3 iterations.")};
    };
    EXPECT_TRUE(passes(chapter, trace(1'500'000, 1'500'000), 0, {}));
    EXPECT_FALSE(passes(chapter, trace(1'500'200, 1'500'000), 0, {}));
    EXPECT_TRUE(passes(chapter, trace(1'500'000, 1'499'978), 0, {}));
    EXPECT_FALSE(passes(chapter, trace(1'500'000, 1'499'899), 0, {}));
}

TEST(ChapterOfTheTime, PassesOnlyWithATimeBetweenTheTruths) {
    const Chapter& chapter = chapterTitled("Time");
    const std::vector<Happening> all{sample::start(), sample::truth(100, 0), sample::log(110, "mark"),
                                     sample::truth(200, 0)};
    EXPECT_TRUE(passes(chapter, all, 2, {"  since 1970  1150 ns"}));
    EXPECT_FALSE(passes(chapter, all, 2, {"  since 1970  1099 ns"}));
    EXPECT_FALSE(passes(chapter, all, 2, {"  since 1970  1201 ns"}));
}

TEST(ChapterOfSteering, PassesOnlyWhenTheDriftIsGone) {
    const Chapter& chapter = chapterTitled("Steering");
    const std::vector<Happening> all{sample::log(1, "mark"),
                                     Happening{{"raw_ns", 2}, {"kind", "steering"}, {"steering_ppt", -12'000'000}}};
    const auto lines = [](const std::string& after) {
        return std::vector<std::string>{"  drift  +12000.3 ppb +- 0.4 ppb", "  read back  -12000 ppb",
                                        "  drift  " + after};
    };
    EXPECT_TRUE(passes(chapter, all, 0, lines("+0.2 ppb +- 0.4 ppb")));
    EXPECT_FALSE(passes(chapter, all, 0, lines("+9.2 ppb +- 0.4 ppb")));
    EXPECT_FALSE(passes(chapter, all, 0, lines("+0.2 ppb +- 7000.0 ppb")));
}

TEST(ChapterOfMetadata, PassesOnlyWithUtcOffset37) {
    const Chapter& chapter = chapterTitled("Metadata");
    const auto trace = [](int utcOffset) {
        return std::vector<Happening>{sample::log(1, "mark"), Happening{{"raw_ns", 2},
                                                                        {"kind", "status_record"},
                                                                        {"record", "00"},
                                                                        {"not_aligned", false},
                                                                        {"reference_kind", 2},
                                                                        {"reference_offset", -250},
                                                                        {"utc_offset", utcOffset}}};
    };
    EXPECT_TRUE(passes(chapter, trace(37), 0, {}));
    EXPECT_FALSE(passes(chapter, trace(36), 0, {}));
}

TEST(ChapterOfTheError, PassesOnlyWhenTheHostGetsItOnce) {
    const Chapter& chapter = chapterTitled("An error");
    const std::vector<Happening> all{sample::log(1, "mark"), Happening{{"raw_ns", 2}, {"kind", "fault"}},
                                     sample::log(3, "Monitoring thread encountered an error: FAIL(-52024,{})")};
    const std::vector<std::string> once{"  failed as expected  zuqxmtk_getTime failed: -52024 name",
                                        "  since 1970  5 ns"};
    EXPECT_TRUE(passes(chapter, all, 0, once));
    EXPECT_FALSE(passes(chapter, all, 0, {once[1]}));
    EXPECT_FALSE(passes(chapter, all, 0, {once[0]}));
    EXPECT_FALSE(passes(chapter, all, 0, {"  failed as expected  zuqxmtk_getTime failed: -52006 name", once[1]}));
}

}  // namespace
}  // namespace halvexdemo
