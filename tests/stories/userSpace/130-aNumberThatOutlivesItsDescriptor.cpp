// Story 130: a failed request on a PTP clock closes its descriptor and keeps the number, which another clock then gets.
// The library keeps this on purpose; a host can recover.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/userSpace/controller.h"

namespace aNumberThatOutlivesItsDescriptor {

class ANumberThatOutlivesItsDescriptor : public stories::UserSpaceController {
protected:
    static constexpr std::int64_t kOneYearNs = 365LL * 86'400 * 1'000'000'000;

    /// enp1s0 loses its descriptor, enp2s0 is reopened with its number.
    void shareOneNumber() {
        start(stories::requestFault("enp1s0", "PTP_EXTTS_REQUEST", "from = \"20 s\"\nerror = \"EIO\""));
        waitS(20);
        ASSERT_EQ(snapTime(0), 0);
        waitS(5);
        ASSERT_EQ(snapTime(0), -52024) << "what the alignment met";
        doEvent("interface_down", "enp2s0");
        waitS(5);
        doEvent("interface_up", "enp2s0");
        waitS(5);
    }
};

TEST_F(ANumberThatOutlivesItsDescriptor, LetsBothClocksStepTheOneUntilItsTimeHasLeftItsRange) {
    shareOneNumber();
    snapTime(1'000'000);
    waitS(5);
    EXPECT_GT(std::abs(differenceNs("enp2s0")), kOneYearNs);
    EXPECT_GE(countSyslog("Overflow/Underflow error occurred"), 1);
    EXPECT_EQ(snapTime(0), -52008);
}

TEST_F(ANumberThatOutlivesItsDescriptor, IsMendedBySettingTheClockAndInitialisingAgain) {
    shareOneNumber();
    snapTime(1'000'000);
    waitS(5);
    zuqxmtk_finalize();
    EXPECT_LT(codeOf([](zuerr_Status* status) { zuqxmtk_initialize(status); }), 0) << "the clock is still far away";
    doEvent("phc_reset", "enp2s0");
    initialize();
    waitS(5);
    expectAligned();
}

TEST_F(ANumberThatOutlivesItsDescriptor, DoesNoHarmWhenTheHostInitialisesAgainAfterTheError) {
    shareOneNumber();
    zuqxmtk_finalize();
    initialize();
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(5);
    expectAligned();
}

}  // namespace aNumberThatOutlivesItsDescriptor
