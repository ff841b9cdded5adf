// Tests of collecting log lines for a record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/logLines.h"

#include "tests/support/test.h"

namespace halvexctl::logLinesTest {

using testing::IsEmpty;
using testing::SizeIs;

TEST(LogLines, AreKeptInOrderWithTheirTimesWhileSomebodyWantsThem) {
    EXPECT_FALSE(areLogLinesKept());
    LogLines lines;
    EXPECT_TRUE(areLogLinesKept());
    keepLogLine(LOG_ERR, "first %n%s");
    keepLogLine(LOG_INFO, "second");
    const std::vector<LogLine> taken = lines.take();
    ASSERT_THAT(taken, SizeIs(2));
    EXPECT_EQ(taken[0].text, "first %n%s");
    EXPECT_EQ(taken[0].priority, LOG_ERR);
    EXPECT_LE(taken[0].rawNs, taken[1].rawNs);
    EXPECT_GT(taken[0].systemNs, 0u);
    EXPECT_THAT(lines.take(), IsEmpty());
}

TEST(LogLines, OfAnEarlierRecordingAreForgotten) {
    {
        const LogLines earlier;
        keepLogLine(LOG_INFO, "earlier");
    }
    EXPECT_FALSE(areLogLinesKept());
    LogLines lines;
    EXPECT_THAT(lines.take(), IsEmpty());
}

TEST(LogLines, ThatNobodyTakesAreCountedAndLost) {
    LogLines lines;
    for (int i = 0; i < 10'003; ++i) {
        keepLogLine(LOG_INFO, "many");
    }
    EXPECT_EQ(lines.lost(), 3u);
    EXPECT_THAT(lines.take(), SizeIs(10'000));
}

TEST(LogLines, MayComeFromManyThreads) {
    LogLines lines;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int i = 0; i < 500; ++i) {
                keepLogLine(LOG_INFO, "one of many");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(lines.take(), SizeIs(2'000));
}

}  // namespace halvexctl::logLinesTest
