// The I210's clock as an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"

#include "tests/support/allocationCount.h"
#include "tests/support/raisedError.h"
#include "tests/unit/source/zuHalvexTimekeeper/fakeI210.h"

namespace halvexTimekeeper::i210EpochDeviceTest {

using namespace testsupport;
using Journal = FakeI210::Journal;

RaisedError communicationsFault(std::int32_t line, const std::string& message) {
    return makeError({-52024, "zuplaterr_communicationsFault", "i210EpochHelpers", line}, message);
}
RaisedError unsupported(std::int32_t line, const std::string& message) {
    return makeError({-52002, "zuplaterr_featureUnsupported", "i210EpochDevice", line}, message);
}

const std::string kLacksCapabilities = "enp1s0 doesn't support PTP properly (external event time stamping capability).";

/// The error that `action` throws when the Nth call of an entry fails.
template <typename Entry, typename Action>
RaisedError raisedWith(Entry& entry, int nth, int error, Action&& action) {
    const OsCallGuard fail{entry, failNth(nth, error)};
    return raisedBy(action);
}

struct I210EpochDeviceTest : testing::Test {
    FakeI210 kernel;

    static auto constructing() {
        return [] { I210EpochDevice("enp1s0"); };
    }

    /// A device with the journal of its construction cleared.
    std::unique_ptr<I210EpochDevice> makeDevice() {
        auto device = std::make_unique<I210EpochDevice>("enp1s0");
        kernel.journal.clear();
        return device;
    }

    /// The offset that the last step passed to the kernel.
    std::pair<std::int64_t, std::int64_t> stepAskedFor(I210EpochDevice& device, std::int64_t offsetNs) {
        device.adjustTime(offsetNs);
        return {kernel.lastAdjustment.time.tv_sec, kernel.lastAdjustment.time.tv_usec};
    }
};

TEST_F(I210EpochDeviceTest, SendsZeroedRecordsWhenItOpensItsClock) {
    const auto device = makeDevice();
    EXPECT_TRUE(isSame(kernel.capabilitiesAsAsked, ptp_clock_caps{}));
    EXPECT_TRUE(isSame(kernel.lastPin, ptp_pin_desc{}));
    timex zeroFrequency{};
    zeroFrequency.modes = ADJ_FREQUENCY;
    EXPECT_TRUE(isSame(kernel.lastAdjustment, zeroFrequency));
}

TEST_F(I210EpochDeviceTest, IsNamedAfterItsInterface) {
    const auto device = makeDevice();
    EXPECT_EQ(device->getName(), "i210EpochDevice_enp1s0");
    EXPECT_EQ(&device->getName(), &device->getName());
    EXPECT_EQ(device->getInterfaceName(), "enp1s0");
}

TEST_F(I210EpochDeviceTest, RefusesAClockWithThreePinsNoPeriodicOutputOrNoTimeStampsAndLeavesItsDescriptorOpen) {
    for (const auto& [extTs, perOut, pins] : {std::array{2, 2, 3}, std::array{2, 0, 4}, std::array{0, 2, 4}}) {
        kernel.capabilities = FakeI210::makeCapabilities(extTs, perOut, pins);
        EXPECT_EQ(raisedBy(constructing()), unsupported(167, kLacksCapabilities));
    }
    EXPECT_EQ(kernel.openDevices, (std::set{40, 41, 42}));
}

TEST_F(I210EpochDeviceTest, TakesAClockThatHasJustEnoughOfEverything) {
    kernel.capabilities = FakeI210::makeCapabilities(1, 1, 4);
    EXPECT_NO_THROW(constructing()());
}

TEST_F(I210EpochDeviceTest, DiscardsAForeignErrorOfThePinWhenDestroyed) {
    auto device = makeDevice();
    const OsCallGuard empty{osCalls().ioctl, nullptr};
    device.reset();
    EXPECT_EQ(kernel.journal, Journal{"close 40"});
}

TEST_F(I210EpochDeviceTest, NeverClosesDescriptor0) {
    kernel.nextDevice = 0;
    makeDevice().reset();
    EXPECT_EQ(kernel.journal, Journal{"ioctl 0 0x40603D07 0"});
    EXPECT_EQ(kernel.openDevices, std::set{0});
}

using I210EpochDeviceDeathTest = I210EpochDeviceTest;

TEST_F(I210EpochDeviceDeathTest, EndsTheProcessWhenItCannotCloseAsItGoesOrReinitializes) {
    const auto withoutClose = [this](auto&& action) {
        auto device = makeDevice();
        osCalls().close = nullptr;
        try {
            action(device);
        } catch (...) {
            _exit(0);
        }
    };
    EXPECT_DEATH(withoutClose([](auto& device) { device.reset(); }), "bad_function_call");
    EXPECT_DEATH(withoutClose([](auto& device) { device->reinitialize(); }), "bad_function_call");
}

TEST_F(I210EpochDeviceTest, KeepsTheStaleNumberAfterAFailedIoctlClosesItAgainAndOpensAFreshOne) {
    const auto device = makeDevice();
    EXPECT_EQ(raisedWith(osCalls().ioctl, 1, EIO, [&] { device->armEpochCapture(); }).code, -52024);
    EXPECT_TRUE(kernel.openDevices.empty());
    kernel.journal.clear();
    device->reinitialize();
    EXPECT_EQ(kernel.journal, (Journal{"ioctl 40 0x40603D07", "close 40", "close 40", "open /dev/ptp0 2",
                                       "ioctl 41 0x80503D01", "ioctl 41 0x40603D07 0", "clock_adjtime 41 0x2"}));
}

TEST_F(I210EpochDeviceTest, SurvivesAFailedReopeningAndCanBeReinitializedLater) {
    const auto device = makeDevice();
    EXPECT_EQ(raisedWith(osCalls().open, 1, ENODEV, [&] { device->reinitialize(); }),
              communicationsFault(40, "Couldn't open session to device /dev/ptp0. Got error No such device"));
    kernel.journal.clear();
    device->reinitialize();
    // Without a descriptor the pin request is still made, and only the failed ioctl closes -1.
    EXPECT_EQ((Journal{kernel.journal.begin(), kernel.journal.begin() + 3}),
              (Journal{"ioctl -1 0x40603D07", "close -1", "open /dev/ptp0 2"}));
    EXPECT_EQ(kernel.openDevices, std::set{41});
}

TEST_F(I210EpochDeviceTest, RefusesAReopenedClockThatHasLostItsCapabilities) {
    const auto device = makeDevice();
    kernel.capabilities = FakeI210::makeCapabilities(2, 2, 0);
    EXPECT_EQ(raisedBy([&] { device->reinitialize(); }), unsupported(167, kLacksCapabilities));
    EXPECT_EQ(kernel.openDevices, std::set{41});
}

TEST_F(I210EpochDeviceTest, TellsWhyItsClockCouldNotBeReadOrStepped) {
    const auto device = makeDevice();
    EXPECT_EQ(raisedWith(osCalls().clock_gettime, 1, ENODEV, [&] { device->getTime(); }),
              communicationsFault(77, "Could not get time from enp1s0.Got error No such device"));
    EXPECT_EQ(raisedWith(osCalls().clock_adjtime, 1, EBUSY, [&] { device->adjustTime(1); }),
              communicationsFault(65, "Could not adjust time on enp1s0.Got error Device or resource busy"));
}

TEST_F(I210EpochDeviceTest, KeepsTheNanosecondsOfANegativeStepPositive) {
    const auto device = makeDevice();
    using Step = std::pair<std::int64_t, std::int64_t>;
    EXPECT_EQ(stepAskedFor(*device, -1), (Step{-1, 999'999'999}));
    EXPECT_EQ(stepAskedFor(*device, -1'000'000'000), (Step{-1, 0}));
    EXPECT_EQ(stepAskedFor(*device, -1'000'000'001), (Step{-2, 999'999'999}));
    EXPECT_EQ(stepAskedFor(*device, 0), (Step{0, 0}));
    EXPECT_EQ(stepAskedFor(*device, 999'999'999), (Step{0, 999'999'999}));
    EXPECT_EQ(stepAskedFor(*device, std::numeric_limits<std::int64_t>::max()), (Step{9'223'372'036, 854'775'807}));
    EXPECT_EQ(stepAskedFor(*device, std::numeric_limits<std::int64_t>::min()), (Step{-9'223'372'037, 145'224'192}));
}

TEST_F(I210EpochDeviceTest, IsEnabledWhileItsInterfaceIsUp) {
    const auto device = makeDevice();
    EXPECT_TRUE(device->isEnabled());
    EXPECT_EQ(kernel.journal, (Journal{"socket 1,2,0", "ioctl 100 0x8913", "close 100"}));
    ifreq request{};
    std::memcpy(request.ifr_name, "enp1s0", 6);
    EXPECT_TRUE(isSame(kernel.lastInterfaceRequest, request));

    kernel.interfaces["enp1s0"].isUp = false;
    EXPECT_FALSE(device->isEnabled());
    EXPECT_TRUE(kernel.openSockets.empty());
}

TEST_F(I210EpochDeviceTest, AsksForTheFirst15CharactersOfALongInterfaceName) {
    kernel.interfaces["abcdefghijklmno"] = {1, true};
    I210EpochDevice device("abcdefghijklmnopq");
    EXPECT_TRUE(device.isEnabled());
    EXPECT_STREQ(kernel.lastInterfaceRequest.ifr_name, "abcdefghijklmno");
    EXPECT_EQ(device.getName(), "i210EpochDevice_abcdefghijklmnopq");
}

TEST_F(I210EpochDeviceTest, ClosesTheSocketOfItsInterfacesFlagsEvenWhenItIsDescriptor0) {
    auto device = makeDevice();
    const OsCallGuard withoutStandardInput{osCalls().socket, [](int, int, int) { return 0; }};
    const OsCallGuard answer{osCalls().ioctl, [](int, unsigned long, void*) { return 0; }};
    EXPECT_FALSE(device->isEnabled());
    EXPECT_EQ(kernel.journal, Journal{"close 0"});
}

TEST_F(I210EpochDeviceTest, CannotGenerateAnEpoch) {
    const auto device = makeDevice();
    EXPECT_EQ(raisedBy([&] { device->generateEpoch(); }),
              unsupported(96, "i210 can't generate epoch signal for this hardware"));
    EXPECT_TRUE(kernel.journal.empty());
}

TEST_F(I210EpochDeviceTest, DiscardsTheEventsOfAnEarlierEdgeBeforeItArms) {
    const auto device = makeDevice();
    device->armEpochCapture();
    kernel.seeEdge(1, 0);
    kernel.seeEdge(1, 500);
    kernel.seeEdge(2, 0, 1);
    device->armEpochCapture();
    EXPECT_TRUE(kernel.events.empty());
    kernel.seeEdge(3, 7);
    EXPECT_EQ(device->getEpochTimestamp(), 3'000'000'007U);
}

TEST_F(I210EpochDeviceTest, ReturnsTheEventsTimeWithoutRangeChecks) {
    const auto device = makeDevice();
    kernel.queueEvent(-1, 0);
    EXPECT_EQ(device->getEpochTimestamp(), static_cast<QxmTimestamp>(-1'000'000'000));
    kernel.queueEvent(0, 4'000'000'000);
    EXPECT_EQ(device->getEpochTimestamp(), 4'000'000'000U);
}

TEST_F(I210EpochDeviceTest, AsksForAnAlignmentFromTheStartAndKeepsTheFlagThatItIsGivenWhileItsInterfaceIsUp) {
    const auto device = makeDevice();
    EXPECT_TRUE(device->hasBeenEpochAligned());
    device->setHasBeenEpochAligned(false);
    EXPECT_FALSE(device->hasBeenEpochAligned());
    device->setHasBeenEpochAligned(true);
    EXPECT_TRUE(device->hasBeenEpochAligned());
}

TEST_F(I210EpochDeviceTest, AsksItsOwnIsEnabledThroughTheVirtualSlot) {
    struct Disabled : I210EpochDevice {
        using I210EpochDevice::I210EpochDevice;
        bool isEnabled() override { return false; }
    };
    Disabled device("enp1s0");
    EXPECT_FALSE(device.hasBeenEpochAligned());
}

TEST_F(I210EpochDeviceTest, ReachesItsClockOverOneVirtualBase) {
    static_assert(std::is_base_of_v<EpochDeviceInterface, I210EpochDevice>);
    static_assert(!std::is_copy_constructible_v<I210EpochDevice>);
    const auto device = makeDevice();
    EXPECT_EQ(static_cast<ClockInterface&>(*device).getTime(), 1'700'000'000'000'000'123U);
    EXPECT_EQ(kernel.journal, Journal{"clock_gettime 40"});
}

TEST_F(I210EpochDeviceTest, AllocatesNothingOnASuccessPath) {
    const auto device = makeDevice();
    bool isReady = false;
    const OsCallGuard control{osCalls().ioctl, [](int, unsigned long, void*) { return 0; }};
    const OsCallGuard makeSocket{osCalls().socket, [](int, int, int) { return 100; }};
    const OsCallGuard closeIt{osCalls().close, [](int) { return 0; }};
    const OsCallGuard openIt{osCalls().open, [](const char*, int) { return 41; }};
    const OsCallGuard getTime{osCalls().clock_gettime, [](int, timespec*) { return 0; }};
    const OsCallGuard adjust{osCalls().clock_adjtime, [](int, timex*) { return 0; }};
    const OsCallGuard readIt{osCalls().read, [](int, void*, unsigned long) { return 32L; }};
    const OsCallGuard selectIt{osCalls().select,
                               [&](int, fd_set*, fd_set*, fd_set*, timeval*) { return isReady ? 1 : 0; }};
    const long before = countAllocations();
    device->getTime();
    device->adjustTime(-1);
    device->isEnabled();
    device->hasBeenEpochAligned();
    device->armEpochCapture();
    isReady = true;
    device->getEpochTimestamp();
    EXPECT_EQ(countAllocations(), before);
}

}  // namespace halvexTimekeeper::i210EpochDeviceTest
