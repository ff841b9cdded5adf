// The FPGA's time-sync logic as the timekeeper uses it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"

#include <boost/numeric/conversion/cast.hpp>

#include "tests/support/allocationCount.h"
#include "tests/unit/source/zuHalvexTimekeeper/driverInterfaceTest.h"

namespace halvexTimekeeper::fpgaEpochDeviceTest {

using namespace testsupport;
using Requests = std::vector<unsigned long>;

constexpr unsigned long kAdjustTime = 0xC0207500;
constexpr unsigned long kRequestEpochAlignment = 0xC0207501;
constexpr unsigned long kSetStatusInfo = 0xC0207502;
constexpr unsigned long kGetStatusInfo = 0xC0207503;
constexpr unsigned long kGetTime = 0xC0207504;
constexpr unsigned long kGetEpochTimestamp = 0xC0207505;

constexpr const char* kFile = "fpgaEpochDevice";
constexpr std::uint64_t kAlignmentValue = 4'000'000'000;

/// A running, enabled FPGA that stores the status records it receives.
class FpgaDevice : public DriverInterfaceTest {
protected:
    FpgaDevice() : DriverInterfaceTest("nZUHORLIXFPGA000_HorlixFpga") {
        driver.answers[kGetTime] = {.value = 1};
        driver.onCall = [this](const DriverCall& call) {
            if (call.request == kSetStatusInfo) statusInfos.push_back(bytesAt(call.getArgument(), 19));
            if (call.request == kGetStatusInfo) {
                runStates.push_back(bytesAt(call.getArgument(), 8));
                std::memcpy(reinterpret_cast<char*>(call.getArgument()) + 4, &runningByte, 1);
            }
            if (call.request == kGetEpochTimestamp && epochsLeft > 0 && --epochsLeft == 0) {
                driver.answers[kGetEpochTimestamp].value += 1;
            }
        };
        libcHooks().nanosleep = [this](const timespec* request, timespec*) {
            sleeps.push_back({request->tv_sec, request->tv_nsec});
            return 0;
        };
    }

    void SetUp() override { publish("/dev/fpga"); }
    void TearDown() override { driver.answers = {{kGetTime, {.value = 1}}}; }  // a failed release would end the process
    FpgaEpochDevice& device() { return device_ ? *device_ : device_.emplace(kAlignmentValue); }
    /// A device in use: its journal is cleared after construction.
    FpgaEpochDevice& deviceInUse() {
        FpgaEpochDevice& made = device();
        driver.calls.clear();
        statusInfos.clear();
        return made;
    }
    FpgaEpochDevice& deviceArmedAt10() {
        driver.answers[kGetEpochTimestamp] = {.value = 10};
        device().armEpochCapture();
        return deviceInUse();
    }
    /// A device whose interface could not be reopened.
    FpgaEpochDevice& closedDevice() {
        device();
        openError = ENOENT;
        EXPECT_NE(raisedBy([&] { device().reinitialize(); }), RaisedError{});
        driver.calls.clear();
        statusInfos.clear();
        return device();
    }

    std::vector<Bytes> statusInfos;
    std::vector<Bytes> runStates;
    std::uint8_t runningByte = 1;
    int epochsLeft = 0;  ///< Reads until the epoch changes; 0: never.
    std::vector<std::pair<long, long>> sleeps;
    std::optional<FpgaEpochDevice> device_;
};

TEST_F(FpgaDevice, HasAFixedName) {
    EXPECT_EQ(device().getName(), "fpgaEpochDevice");
    const FpgaEpochDevice another(1);
    EXPECT_EQ(&another.getName(), &device().getName());
}

TEST_F(FpgaDevice, LeavesAnFpgaWhoseTimeIsZeroAsItIs) {
    driver.answers[kGetTime] = {.value = 0};
    device();
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
    device_.reset();
    EXPECT_EQ(driver.getRequests(), (Requests{kGetTime, kGetTime}));
    EXPECT_EQ(closed, std::vector{1000});
}

TEST_F(FpgaDevice, LoadsAgainAfterALoadThatFailed) {
    FpgaEpochDevice& closedOne = closedDevice();
    closed.clear();
    openError = 0;
    closedOne.reinitialize();
    EXPECT_TRUE(closed.empty());
    EXPECT_TRUE(closedOne.isEnabled());
}

using FpgaDeviceDeathTest = FpgaDevice;

TEST_F(FpgaDeviceDeathTest, EndsTheProcessWhenTheResetFailsAsItGoes) {
    deviceInUse();
    const auto goWhile = [this](unsigned long request, const DriverAnswer& answer) {
        driver.answers[request] = answer;
        device_.reset();
    };
    EXPECT_DEATH(goWhile(kSetStatusInfo, {.status = -52005}), "Unable to reset status info on fpgaEpochDevice");
    EXPECT_DEATH(goWhile(kGetTime, {.error = EIO}), "Unable to get time from fpgaEpochDevice");
}

TEST_F(FpgaDevice, ReadsTheFpgasTime) {
    deviceInUse();
    driver.answers[kGetTime] = {.value = 0xFFFFFFFFFFFFFFFE};
    EXPECT_EQ(device().getTime(), 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
}

TEST_F(FpgaDevice, StepsTheFpgaByTheOffsetUnchanged) { expectStepsUnchanged(device(), kAdjustTime); }

TEST_F(FpgaDevice, IsEnabledWhileItsTimeIsNeitherZeroNorReportedNotFound) {
    EXPECT_TRUE(device().isEnabled());
    for (const DriverAnswer& answer :
         {DriverAnswer{.value = 0}, DriverAnswer{.status = -52006, .value = 7}, DriverAnswer{.error = ENODEV}}) {
        driver.answers[kGetTime] = answer;
        EXPECT_FALSE(device().isEnabled());
    }
}

TEST_F(FpgaDevice, RefusesEveryTimeToBeTheMaster) {
    deviceInUse();
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(raisedBy([&] { device().generateEpoch(); }),
                  makeError({-52002, "zuplaterr_featureUnsupported", kFile, 150},
                            "fpgaEpochDevice: can't be used as a epoch master for this hardware."));
    }
    EXPECT_TRUE(driver.calls.empty());
}

TEST_F(FpgaDevice, ReturnsALaterOrEarlierEpochAtTheFirstReadWithoutSleepingAndDoesNotRememberIt) {
    for (const std::uint64_t epoch : {11, 9}) {
        deviceArmedAt10();
        driver.answers[kGetEpochTimestamp] = {.value = epoch};
        EXPECT_EQ(device().getEpochTimestamp(), epoch);
        EXPECT_EQ(device().getEpochTimestamp(), epoch);
        EXPECT_EQ(driver.getRequests(), (Requests{kGetEpochTimestamp, kGetEpochTimestamp}));
    }
    EXPECT_TRUE(sleeps.empty());
}

TEST_F(FpgaDevice, RemembersAnEpochOfZeroBeforeItIsArmed) {
    device();
    driver.answers[kGetEpochTimestamp] = {.value = 0};
    EXPECT_EQ(raisedBy([&] { device().getEpochTimestamp(); }).code, -52007);
    driver.answers[kGetEpochTimestamp] = {.value = 1};
    EXPECT_EQ(device().getEpochTimestamp(), 1U);
}

TEST_F(FpgaDevice, Sleeps10MsBetweenReadsAndStillTakesTheEpochOfThe101stRead) {
    device();
    device().armEpochCapture();
    driver.calls.clear();
    epochsLeft = 101;
    EXPECT_EQ(device().getEpochTimestamp(), 1U);
    EXPECT_EQ(driver.calls.size(), 101U);
    EXPECT_EQ(sleeps, (std::vector<std::pair<long, long>>(100, {0, 10'000'000})));
}

TEST_F(FpgaDevice, GivesUpAfter101ReadsAnd101SleepsAlsoWhenTheSleepsAreInterrupted) {
    EXPECT_EQ(raisedBy([&] { deviceArmedAt10().getEpochTimestamp(); }),
              makeError({-52007, "zuplaterr_operationTimedOut", kFile, 181},
                        "Did not see the epoch signal on fpgaEpochDevice"));
    EXPECT_EQ(driver.getRequests(), Requests(101, kGetEpochTimestamp));
    EXPECT_EQ(sleeps.size(), 101U);
    int interrupted = 0;
    libcHooks().nanosleep = [&](const timespec*, timespec*) {
        ++interrupted;
        errno = EINTR;
        return -1;
    };
    EXPECT_EQ(raisedBy([&] { device().getEpochTimestamp(); }).code, -52007);
    EXPECT_EQ(interrupted, 101);
}

TEST_F(FpgaDevice, RemembersTheEpochThatCameWithADriversErrorButNoneOfATransportThatFails) {
    device();
    for (const DriverAnswer& answer :
         {DriverAnswer{.status = -52024, .value = 10}, DriverAnswer{.value = 12, .error = EIO}}) {
        driver.answers[kGetEpochTimestamp] = answer;
        EXPECT_EQ(raisedBy([&] { device().armEpochCapture(); }).code, -52024);
        driver.answers[kGetEpochTimestamp] = {.value = 10};
        EXPECT_EQ(raisedBy([&] { device().getEpochTimestamp(); }).code, -52007);
    }
}

TEST_F(FpgaDevice, ReturnsTheStoredFlagOfAnFpgaWhoseRunningByteIsNotZeroAndSendsNothing) {
    deviceInUse();
    EXPECT_TRUE(device().hasBeenEpochAligned());
    device().setHasBeenEpochAligned(false);
    EXPECT_FALSE(device().hasBeenEpochAligned());
    device().setHasBeenEpochAligned(true);
    EXPECT_TRUE(device().hasBeenEpochAligned());
    for (const unsigned long request : driver.getRequests()) {
        EXPECT_TRUE(request == kGetTime || request == kGetStatusInfo);
    }
    EXPECT_EQ(runStates, std::vector(3, (Bytes{8, 0, 0, 0, 0, 0, 0, 0})));
    device().setHasBeenEpochAligned(false);
    for (const int running : {1, 2, 128, 255}) {
        runningByte = static_cast<std::uint8_t>(running);
        EXPECT_FALSE(device().hasBeenEpochAligned());
    }
}

TEST_F(FpgaDevice, KeepsTheFlagWhenTheRequestForAlignmentFails) {
    device().setHasBeenEpochAligned(false);
    runningByte = 0;
    driver.answers[kRequestEpochAlignment] = {.status = -52031};
    EXPECT_EQ(raisedBy([&] { device().hasBeenEpochAligned(); }),
              driverError(-52031, kFile, 246, "Unable to request epoch alignment on fpgaEpochDevice"));
    runningByte = 1;
    EXPECT_FALSE(device().hasBeenEpochAligned());
}

TEST_F(FpgaDevice, AsksToBeAlignedOnceItIsEnabledAgain) {
    device().setHasBeenEpochAligned(false);
    driver.answers[kGetTime] = {.value = 0};
    driver.calls.clear();
    EXPECT_FALSE(device().hasBeenEpochAligned());
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
    driver.answers[kGetTime] = {.value = 1};
    EXPECT_TRUE(device().hasBeenEpochAligned());
}

TEST_F(FpgaDevice, OnAClosedInterfaceReturnsFalseAndSetsTheFlag) {
    closedDevice().setHasBeenEpochAligned(false);
    EXPECT_FALSE(device().hasBeenEpochAligned());
    openError = 0;
    device().reinitialize();
    EXPECT_TRUE(device().hasBeenEpochAligned());
}

TEST_F(FpgaDevice, TellsTheFpgaTheOffsetsOfATimeReferenceWithAType) {
    deviceInUse();
    device().setHasBeenEpochAligned(false);
    device().applyQxmMetadata(R"({"selectedTRInstID":"a","selectedTROffset":"-2","TRs":{"a":{"name":"grandmaster",)"
                              R"("type":"IEEE 1588-2008","protocolData":{"utcOffset":37}}}})");
    EXPECT_EQ(driver.getRequests(), (Requests{kGetTime, kSetStatusInfo}));
    EXPECT_EQ(statusInfos.back(), (Bytes{19, 0, 0, 0, 1, 2, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 1, 37, 0, 0, 0, 1}));
}

TEST_F(FpgaDevice, TellsTheFpgaThatItIsAlignedByAZero) {
    deviceInUse().setHasBeenEpochAligned(true);
    device().applyQxmMetadata("{}");
    EXPECT_EQ(statusInfos.back(), (Bytes{19, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    device().setHasBeenEpochAligned(false);
    device().applyQxmMetadata("{}");
    EXPECT_EQ(statusInfos.back(), (Bytes{19, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(FpgaDevice, TellsTheFpgaKind2ForAnyTypeAndKind1WithoutAUsableOneAndNoUtcOffsetForOtherProtocols) {
    deviceInUse();
    const std::vector<std::pair<std::string, std::uint8_t>> kinds = {
        {R"({})", 1},
        {R"({"type":null})", 1},
        {R"({"type":""})", 1},
        {R"({"Type":"NTP"})", 1},
        {R"({"type":"NTP","protocolData":{"utcOffset":37}})", 2}};
    for (const auto& [timeReference, kind] : kinds) {
        device().applyQxmMetadata(R"({"selectedTRInstID":"a","selectedTROffset":"7","TRs":{"a":)" + timeReference +
                                  "}}");
        EXPECT_EQ(statusInfos.back(), (Bytes{19, 0, 0, 0, 0, kind, 0, 0, 0, 7, 0, 0, 0, 1, 0, 0, 0, 0, 0}))
            << timeReference;
    }
}

TEST_F(FpgaDevice, RemembersTheOffsetOfATimeReferenceFromOneDocumentToTheNext) {
    deviceInUse();
    device().applyQxmMetadata(R"({"selectedTRInstID":"a","selectedTROffset":"7"})");
    device().applyQxmMetadata(R"({"selectedTRInstID":"a"})");
    EXPECT_EQ(statusInfos.back()[9], 7);
    device().applyQxmMetadata(R"({"selectedTRInstID":"b"})");
    EXPECT_EQ(statusInfos.back()[9], 0);
}

TEST_F(FpgaDevice, TellsAnFpgaThatIsClosedOrNotEnabledNothingAndDoesNotReadTheDocument) {
    deviceInUse();
    driver.answers[kGetTime] = {.value = 0};
    EXPECT_EQ(raisedBy([&] { device().applyQxmMetadata("no JSON"); }), RaisedError{});
    EXPECT_EQ(driver.getRequests(), Requests{kGetTime});
    EXPECT_EQ(raisedBy([&] { closedDevice().applyQxmMetadata("no JSON"); }), RaisedError{});
    EXPECT_TRUE(statusInfos.empty());
}

TEST_F(FpgaDevice, TellsNothingWhenTheDocumentIsWrong) {
    deviceInUse();
    EXPECT_EQ(raisedBy([&] { device().applyQxmMetadata("no JSON"); }).code, -52005);
    EXPECT_EQ(raisedBy([&] { device().applyQxmMetadata(R"({"selectedTRInstID":7})"); }).code, -52004);
    EXPECT_THROW(device().applyQxmMetadata(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008",)"
                                           R"("protocolData":{"utcOffset":1e10}}}})"),
                 boost::numeric::positive_overflow);
    EXPECT_TRUE(statusInfos.empty());
}

TEST_F(FpgaDevice, AllocatesNothingForATimeAStepAnEpochAndTheFlag) {
    device();
    libcHooks().ioctl = [time = std::uint64_t{1}](int, unsigned long request, void* block) mutable {
        std::uint64_t out;
        std::memcpy(&out, static_cast<char*>(block) + 8, sizeof out);
        if (request == kGetTime || request == kGetEpochTimestamp) std::memcpy(reinterpret_cast<void*>(out), &++time, 8);
        return 0;
    };
    const long before = countAllocations();
    device().getTime();
    device().adjustTime(200);
    device().armEpochCapture();
    device().getEpochTimestamp();
    device().hasBeenEpochAligned();
    EXPECT_EQ(countAllocations(), before);
}

TEST_F(FpgaDevice, AsksItsOwnTimeThroughTheVirtualSlotWhetherItIsEnabled) {
    struct OfAnotherTime : FpgaEpochDevice {
        using FpgaEpochDevice::FpgaEpochDevice;
        QxmTimestamp getTime() override { return timeNs; }
        QxmTimestamp timeNs = 0;
    } another(kAlignmentValue);
    driver.calls.clear();
    EXPECT_FALSE(another.isEnabled());
    another.timeNs = 1;
    EXPECT_TRUE(another.isEnabled());
    EXPECT_TRUE(driver.calls.empty());
}

}  // namespace halvexTimekeeper::fpgaEpochDeviceTest
