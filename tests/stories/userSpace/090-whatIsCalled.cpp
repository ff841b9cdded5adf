// Story 090: the exact system calls of each operation.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/userSpace/controller.h"

namespace whatIsCalled {

using testing::ElementsAre;
using testing::ElementsAreArray;
using WhatIsCalled = stories::UserSpaceController;

TEST_F(WhatIsCalled, ReadingTheTimeIsOneCall) {
    start();
    clear();
    getTime();
    EXPECT_THAT(calls(), ElementsAre("ioctl ferrox node getTime"));
}

TEST_F(WhatIsCalled, TheLimitsAndTheNameAreNone) {
    start();
    clear();
    testsupport::StatusHolder status;
    char name[32];
    zuqxmtk_getMaxCorrectionPerSecond(status.get());
    zuqxmtk_getMinCorrectionPerSecond(status.get());
    zuqxmtk_getAPIVersion();
    zuqxmtk_isSeeded();
    zuqxmtk_getName(name);
    EXPECT_TRUE(calls().empty());
}

TEST_F(WhatIsCalled, AnIdlePassAsksEachSlaveAndHandsOverTheMetadata) {
    start();
    waitS(3);
    clear();
    waitS(2);
    EXPECT_THAT(calls(),
                ElementsAre("socket network socket", "ioctl enp1s0 socket SIOCGIFFLAGS", "close network socket",
                            "socket network socket", "ioctl enp2s0 socket SIOCGIFFLAGS", "close network socket",
                            "ioctl fpga node getTime", "ioctl fpga node getStatusInfo", "ioctl fpga node getTime",
                            "ioctl fpga node setStatusInfo"));
}

TEST_F(WhatIsCalled, AnAlignmentIterationArmsEmitsAndReads) {
    start("", R"(
[fpga]
offset = "0 ns"
[[interface]]
name = "eth0"
phc_index = 4
offset = "0 ns"
)");
    waitS(1);
    clear();
    ASSERT_EQ(snapTime(0), 0);
    waitS(0.5);
    std::vector<std::string> calls = this->calls();
    calls.erase(calls.begin(), calls.begin() + 3);  // the step itself
    EXPECT_THAT(
        calls,
        ElementsAre("socket network socket", "ioctl eth0 socket SIOCGIFFLAGS", "close network socket",
                    // The falling edge of the last pulse is still queued.
                    "select eth0 ptp", "read eth0 ptp", "select eth0 ptp", "ioctl eth0 ptp PTP_PIN_SETFUNC",
                    "ioctl eth0 ptp PTP_PIN_SETFUNC", "ioctl eth0 ptp PTP_EXTTS_REQUEST", "ioctl fpga node getTime",
                    "ioctl fpga node getEpochTimestamp", "ioctl ferrox node generateEpochSignal",
                    "ioctl ferrox node getEpochTimestamp", "socket network socket", "ioctl eth0 socket SIOCGIFFLAGS",
                    "close network socket", "select eth0 ptp", "read eth0 ptp", "ioctl eth0 ptp PTP_PIN_SETFUNC",
                    "ioctl fpga node getTime", "ioctl fpga node getEpochTimestamp"));
}

TEST_F(WhatIsCalled, FinalisingFinishesAPassThenReleasesEverything) {
    start();
    waitS(1);
    clear();
    zuqxmtk_finalize();
    const std::vector<std::string> calls = this->calls();
    for (const char* call : {"kill phc2sys", "close si514 ppb_offset", "close ferrox node", "close fpga node",
                             "ioctl fpga node requestEpochAlignment", "close enp1s0 ptp", "close enp2s0 ptp"}) {
        EXPECT_EQ(std::count(calls.begin(), calls.end(), call), 1) << call << testing::PrintToString(calls);
    }
    const auto children = happenings("phc2sys");
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(children[0].at("signal"), 9);
}

TEST_F(WhatIsCalled, AStepStepsTheMasterAndThenTheSystemClock) {
    start();
    waitS(1);
    clear();
    ASSERT_EQ(snapTime(0), 0);
    std::vector<std::string> calls = this->calls();
    ASSERT_GE(calls.size(), 3U);
    calls.resize(3);
    EXPECT_THAT(calls, ElementsAre("ioctl ferrox node adjustTime", "clock_gettime system", "clock_settime system"));
}

TEST_F(WhatIsCalled, SteeringAndReadingItBackTakeTwoCallsEach) {
    start();
    clear();
    ASSERT_EQ(setCorrection(500), 0);
    std::int32_t correctionPpb = 0;
    codeOf([&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&correctionPpb, status); });
    EXPECT_THAT(calls(), ElementsAre("lseek si514 ppb_offset", "write si514 ppb_offset", "lseek si514 ppb_offset",
                                     "read si514 ppb_offset"));
}

TEST_F(WhatIsCalled, IsTheSameTwiceForOneSeedAndAnotherForTwo) {
    std::vector<std::string> traces;
    for (const std::uint64_t seed : {seed_, seed_, seed_ + 1}) {
        seed_ = seed;
        start();
        waitS(5);
        ASSERT_EQ(snapTime(1'000'000), 0);
        waitS(5);
        zuqxmtk_finalize();
        traces.push_back(linkedBoard().traceText());
    }
    EXPECT_EQ(traces[0], traces[1]);
    EXPECT_NE(traces[1], traces[2]);
}

}  // namespace whatIsCalled
