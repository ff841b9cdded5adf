// The Ferrox chip as the timekeeper uses it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"

#include "tests/support/allocationCount.h"
#include "tests/unit/source/zuHalvexTimekeeper/driverInterfaceTest.h"

namespace halvexTimekeeper::ferroxEpochDeviceTest {

using namespace testsupport;
using Requests = std::vector<unsigned long>;

constexpr unsigned long kGetTime = 0x80207500;
constexpr unsigned long kAdjustTime = 0xC0207503;

constexpr const char* kFile = "ferroxEpochDevice";

RaisedError refusal(std::int32_t line, const std::string& message) {
    return makeError({-52002, "zuplaterr_featureUnsupported", kFile, line}, message);
}

class FerroxDevice : public DriverInterfaceTest {
protected:
    FerroxDevice() : DriverInterfaceTest("nZUHORLIXFERROX000_HorlixFerrox") {}

    void SetUp() override { publish("/dev/ferrox"); }
    FerroxEpochDevice& device() { return device_ ? *device_ : device_.emplace(); }

    std::optional<FerroxEpochDevice> device_;
};

TEST_F(FerroxDevice, HasAFixedName) {
    EXPECT_EQ(device().getName(), "FerroxEpochDevice");
    const FerroxEpochDevice another;
    EXPECT_EQ(&another.getName(), &device().getName());
}

TEST_F(FerroxDevice, ReadsTheChipsTime) {
    driver.answers[kGetTime] = {.value = 0xFFFFFFFFFFFFFFFE};
    EXPECT_EQ(device().getTime(), 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
}

TEST_F(FerroxDevice, StepsTheChipByTheOffsetUnchanged) { expectStepsUnchanged(device(), kAdjustTime); }

TEST_F(FerroxDevice, IsEnabledWithoutAskingTheHardwareAndAlsoWhenItsInterfaceIsClosed) {
    EXPECT_TRUE(device().isEnabled());
    openError = ENOENT;
    EXPECT_NE(raisedBy([&] { device().reinitialize(); }), RaisedError{});
    EXPECT_EQ(raisedBy([&] { device().getTime(); }),
              driverError(-52006, kFile, 83, "Unable to get time from FerroxEpochDevice"));
    driver.calls.clear();
    EXPECT_TRUE(device().isEnabled());
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(FerroxDevice, RefusesEveryTimeWhatOnlyASlaveDoes) {
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(raisedBy([&] { device().armEpochCapture(); }),
                  refusal(118, "Ferrox can't be used as a epoch slave for this hardware"));
        EXPECT_EQ(raisedBy([&] { device().getEpochTimestamp(); }),
                  refusal(124, "Ferrox can't be used as a epoch slave for this hardware"));
        EXPECT_EQ(raisedBy([&] { device().applyQxmMetadata("{}"); }),
                  refusal(136, "applyQxmMetadata not implemented for Ferrox."));
        EXPECT_EQ(raisedBy([&] { device().hasBeenEpochAligned(); }),
                  refusal(142, "hasBeenEpochAligned not implemented for Ferrox. It is the epoch master."));
        EXPECT_EQ(raisedBy([&] { device().setHasBeenEpochAligned(false); }),
                  refusal(149, "setHasBeenEpochAligned not implemented for Ferrox. It is the epoch master."));
    }
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(FerroxDevice, ClosesItsInterfaceBeforeItOpensItAgain) {
    device();
    publish("/dev/moved");
    libcHooks().open = [this](const char* path, int, mode_t) {
        EXPECT_EQ(closed, std::vector{1000});
        EXPECT_STREQ(path, "/dev/moved");
        return 2000;
    };
    device().reinitialize();
    device().getTime();
    EXPECT_EQ(driver.getLastCall().fd, 2000);
}

TEST_F(FerroxDevice, AllocatesNothingForATimeAStepAndAnEpoch) {
    device();
    libcHooks().ioctl = [](int, unsigned long, void*) { return 0; };
    const long before = countAllocations();
    device().getTime();
    device().adjustTime(200);
    device().generateEpoch();
    device().isEnabled();
    EXPECT_EQ(countAllocations(), before);
}

TEST_F(FerroxDevice, IsOneClockHoweverItIsReached) {
    driver.answers[kGetTime] = {.value = 8};
    EpochDeviceInterface& asEpochDevice = device();
    ClockInterface& asClock = asEpochDevice;
    EXPECT_EQ(asClock.getTime(), 8U);
    EXPECT_EQ(&asClock.getName(), &asEpochDevice.getName());
}

}  // namespace halvexTimekeeper::ferroxEpochDeviceTest
