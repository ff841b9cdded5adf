// The Ferrox chip as the timekeeper uses it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"

#include "tests/support/allocationCount.h"
#include "tests/unit/source/zuHalvexTimekeeper/driverInterfaceTest.h"

namespace halvexTimekeeper::ferroxEpochDeviceTest {

using namespace testsupport;
using Requests = std::vector<unsigned long>;

constexpr unsigned long kGetTime = 0x80207500;
constexpr unsigned long kGenerateEpochSignal = 0xC0207501;
constexpr unsigned long kGetEpochTimestamp = 0x80207502;
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
    RaisedError raisedByMaking() override {
        return raisedBy([] { FerroxEpochDevice device; });
    }

    std::optional<FerroxEpochDevice> device_;
};

TEST_F(FerroxDevice, OpensTheFirstInstanceAndCallsNothing) {
    publish("/dev/another", "1");
    device();
    EXPECT_EQ(openedPaths, std::vector<std::string>{"/dev/ferrox"});
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(FerroxDevice, HasAFixedName) {
    EXPECT_EQ(device().getName(), "FerroxEpochDevice");
    const FerroxEpochDevice another;
    EXPECT_EQ(&another.getName(), &device().getName());
}

TEST_F(FerroxDevice, IsNotMadeWithoutAnInterfaceThatCanBeEnumeratedReadAndOpened) {
    expectNotMadeWithoutItsInterface(kFile, "FerroxEpochDevice", {44, 56, 59, 49},
                                     "No matching Ferrox time sync interface was found.");
}

TEST_F(FerroxDevice, ReleasesTheEnumerationWhenItIsMade) {
    countEnumerations();
    device();
    EXPECT_EQ(releases, 1);
}

TEST_F(FerroxDevice, ReadsTheChipsTime) {
    driver.answers[kGetTime] = {.value = 0xFFFFFFFFFFFFFFFE};
    EXPECT_EQ(device().getTime(), 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
}

TEST_F(FerroxDevice, TellsThatTheTimeCannotBeReadOrAdjusted) {
    EXPECT_EQ(raisedWhile(kGetTime, {.error = EIO}, [&] { device().getTime(); }),
              driverError(-52024, kFile, 83, "Unable to get time from FerroxEpochDevice"));
    EXPECT_EQ(raisedWhile(kGetTime, {.status = -77, .value = 5}, [&] { device().getTime(); }),
              driverError(-77, kFile, 83, "Unable to get time from FerroxEpochDevice"));
    EXPECT_EQ(raisedWhile(kAdjustTime, {.status = -52005}, [&] { device().adjustTime(1); }),
              driverError(-52005, kFile, 92, "Unable to adjust time on FerroxEpochDevice"));
}

TEST_F(FerroxDevice, TakesADriversWarningForSuccess) {
    for (const unsigned long request : {kGetTime, kAdjustTime, kGenerateEpochSignal, kGetEpochTimestamp}) {
        driver.answers[request] = {.status = 4, .value = 5};
    }
    EXPECT_EQ(device().getTime(), 5U);
    EXPECT_NO_THROW(device().adjustTime(1));
    EXPECT_EQ(device().generateEpoch(), 5U);
}

TEST_F(FerroxDevice, StepsTheChipByTheOffsetUnchanged) { expectStepsUnchanged(device(), kAdjustTime); }

TEST_F(FerroxDevice, EmitsTheEpochSignalAndReturnsItsTime) {
    driver.answers[kGetEpochTimestamp] = {.value = 123};
    EXPECT_EQ(device().generateEpoch(), 123U);
    EXPECT_EQ(driver.getRequests(), (Requests{kGenerateEpochSignal, kGetEpochTimestamp}));
}

TEST_F(FerroxDevice, TellsThatTheEpochCannotBeGeneratedAndDoesNotReadItWhenTheSignalFailed) {
    EXPECT_EQ(raisedWhile(kGenerateEpochSignal, {.status = -52024}, [&] { device().generateEpoch(); }),
              driverError(-52024, kFile, 106, "Unable to generate epoch from FerroxEpochDevice"));
    EXPECT_EQ(driver.getRequests(), Requests{kGenerateEpochSignal});
    EXPECT_EQ(raisedWhile(kGetEpochTimestamp, {.error = EIO}, [&] { device().generateEpoch(); }),
              driverError(-52024, kFile, 110, "Unable to generate epoch from FerroxEpochDevice"));
}

TEST_F(FerroxDevice, HandsAWarningOfTheSignalToTheDriverWithTheSecondCall) {
    driver.answers[kGenerateEpochSignal] = {.status = 6};
    device().generateEpoch();
    EXPECT_EQ(driver.getLastCall().in, (Bytes{6, 0, 0, 0}));
}

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
    expectReopening(device());
    device().getTime();
    EXPECT_EQ(driver.getLastCall().fd, 2000);
}

TEST_F(FerroxDevice, ClosesItsInterfaceWhenItGoesAndCallsNothing) {
    device();
    device_.reset();
    EXPECT_EQ(closed, std::vector{1000});
    EXPECT_TRUE(driver.calls.empty());
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
