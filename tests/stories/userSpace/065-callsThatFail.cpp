// Story 065: failures of calls that a real kernel always answers itself.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/userSpace/controller.h"

namespace callsThatFail {

using testing::HasSubstr;
using CallsThatFail = stories::UserSpaceController;

TEST_F(CallsThatFail, InAnAlignmentAreReportedToALaterCallAndOnlyOnce) {
    start(stories::requestFault("enp2s0", "PTP_EXTTS_REQUEST", "from = \"10 s\"\nerror = \"EIO\""));
    waitS(10.5);
    ASSERT_EQ(snapTime(1'000'000), 0) << "the alignment comes later";
    EXPECT_EQ(snapTime(1'000'000), -52024);
    EXPECT_EQ(lastMessage(), "Unable to submit PTP_EXTTS_REQUEST on enp2s0.Got error Input/output error");
    EXPECT_EQ(countSyslog("Encountered err while trying to sync i210EpochDevice_enp2s0, retry count 0: FAIL(-52024,"),
              1);
}

TEST_F(CallsThatFail, KeepPhc2sysFromStarting) {
    switchOn("[[fault]]\ncall = \"posix_spawn\"\nerror = \"ENOENT\"\n");
    EXPECT_EQ(initializeAndCatch(), -52008);
    EXPECT_THAT(lastMessage(), HasSubstr("[ SpawnPhc2Sys ] When spawning phc2sys got error: "));
    EXPECT_EQ(readTime(), -52010);
}

TEST_F(CallsThatFail, KeepAnInterfacesClockFromOpeningAndAbortTheDiscovery) {
    switchOn("[[fault]]\ncall = \"open\"\ntarget = \"enp2s0\"\nfile = \"ptp\"\nerror = \"EACCES\"\n");
    EXPECT_EQ(initializeAndCatch(), -52024);
    EXPECT_EQ(lastMessage(), "Couldn't open session to device /dev/ptp1. Got error Permission denied");
    EXPECT_EQ(readTime(), -52010);
    EXPECT_TRUE(phc2sysSources().empty());
}

TEST_F(CallsThatFail, AreNotMadeWithAnErrorInTheStatus) {
    switchOn();
    testsupport::StatusHolder status(-1);
    zuqxmtk_initialize(status.get());
    EXPECT_TRUE(calls().empty());
}

TEST_F(CallsThatFail, AreNotMadeOnTheMasterWithoutAUsableInterface) {
    switchOn("", "[[interface]]\nname = \"eth0\"\nn_pins = 3\n");
    EXPECT_EQ(initializeAndCatch(), -52010);
    for (const std::string& call : calls()) EXPECT_THAT(call, testing::Not(HasSubstr("ferrox")));
}

TEST_F(CallsThatFail, InASecondInitialisationLeaveAThreadThatWakesAtOnce) {
    start();
    waitS(5);
    doEvent("driver_gone", "si514");
    EXPECT_EQ(initializeAndCatch(), -52006);
    clear();
    while (happenings("status_record").empty()) waitS(0.1);  // from here the thread waits for at least 1.9 s
    clear();
    EXPECT_EQ(applyMetaData("{}"), 0);
    waitS(0.01);
    EXPECT_EQ(happenings("status_record").size(), 1U) << "the metadata, at once";
    const std::uint64_t beforeNs = linkedBoard().rawNs();
    zuqxmtk_finalize();
    EXPECT_LT(linkedBoard().rawNs() - beforeNs, 500'000'000U);
}

}  // namespace callsThatFail
