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
RaisedError timedOut(const std::string& message) {
    return makeError({-52007, "zuplaterr_operationTimedOut", "i210EpochHelpers", 107}, message);
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

TEST_F(I210EpochDeviceTest, FindsAndOpensItsClockWithExactlyTheseCalls) {
    kernel.interfaces["enp1s0"].phcIndex = 12;
    const I210EpochDevice device("enp1s0");
    EXPECT_EQ(kernel.journal, (Journal{"socket 1,2,0", "ioctl 100 0x8946", "close 100", "open /dev/ptp12 2",
                                       "ioctl 40 0x80503D01", "ioctl 40 0x40603D07 0", "clock_adjtime 40 0x2"}));
}

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

TEST_F(I210EpochDeviceTest, DoesNotAskWhetherTheInterfaceIsUpWhenItIsMade) {
    kernel.interfaces["enp1s0"].isUp = false;
    EXPECT_NO_THROW(constructing()());
}

TEST_F(I210EpochDeviceTest, RefusesAnInterfaceWithoutAClockAsUnsupported) {
    kernel.interfaces["enp1s0"].phcIndex = -1;
    EXPECT_EQ(raisedBy(constructing()), makeError({-52002, "zuplaterr_featureUnsupported", "i210EpochHelpers", 148},
                                                  "enp1s0 does not have a valid phc index."));
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

TEST_F(I210EpochDeviceTest, TellsWhyItCouldNotBeMade) {
    EXPECT_EQ(raisedWith(osCalls().open, 1, EACCES, constructing()),
              communicationsFault(40, "Couldn't open session to device /dev/ptp0. Got error Permission denied"));
    EXPECT_EQ(raisedWith(osCalls().ioctl, 2, EIO, constructing()),
              communicationsFault(28, "Couldn't call PTP_CLOCK_GETCAPS enp1s0.Got error Input/output error"));
    EXPECT_EQ(raisedWith(osCalls().ioctl, 3, EIO, constructing()),
              communicationsFault(28, "Couldn't call PTP_PIN_SETFUNC on enp1s0.Got error Input/output error"));
}

TEST_F(I210EpochDeviceTest, LeavesTheDescriptorOpenWhenTheFrequencyCannotBeZeroed) {
    EXPECT_EQ(raisedWith(osCalls().clock_adjtime, 1, EPERM, constructing()),
              communicationsFault(65, "Failed to adjust the frequency on enp1s0.Got error Operation not permitted"));
    EXPECT_EQ(kernel.openDevices, std::set{40});
}

/// Fails the Nth call of one entry during construction, for every N, and expects the code every time.
template <typename Entry>
int countFailuresOfMaking(Entry& entry) {
    for (int nth = 1;; ++nth) {
        const std::int32_t code = raisedWith(entry, nth, EIO, [] { I210EpochDevice("enp1s0"); }).code;
        if (code == 0) return nth - 1;
        EXPECT_EQ(code, -52024) << "call " << nth;
    }
}

TEST_F(I210EpochDeviceTest, FailsToBeMadeWithACommunicationsFaultWhicheverCallFails) {
    EXPECT_EQ(countFailuresOfMaking(osCalls().socket), 1);
    EXPECT_EQ(countFailuresOfMaking(osCalls().open), 1);
    EXPECT_EQ(countFailuresOfMaking(osCalls().clock_adjtime), 1);
    EXPECT_EQ(countFailuresOfMaking(osCalls().ioctl), 3);
    const OsCallGuard ofTheDestructor{osCalls().ioctl, failNth(4, EIO)};
    EXPECT_NO_THROW(constructing()());
    EXPECT_TRUE(ofTheDestructor.hasFailedACall());
}

TEST_F(I210EpochDeviceTest, SwitchesThePinOffAndClosesWhenDestroyed) {
    makeDevice().reset();
    EXPECT_EQ(kernel.journal, (Journal{"ioctl 40 0x40603D07 0", "close 40"}));
    EXPECT_TRUE(kernel.openDevices.empty());
}

TEST_F(I210EpochDeviceTest, ClosesTwiceWhenThePinCannotBeSwitchedOffAnyMore) {
    auto device = makeDevice();
    const OsCallGuard fail{osCalls().ioctl, failNth(1, ENODEV)};
    EXPECT_NO_THROW(device.reset());
    EXPECT_EQ(kernel.journal, (Journal{"close 40", "close 40"}));
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

TEST_F(I210EpochDeviceTest, IgnoresACloseThatFails) {
    auto device = makeDevice();
    const OsCallGuard fail{osCalls().close, failNth(1, EIO)};
    EXPECT_NO_THROW(device.reset());
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

TEST_F(I210EpochDeviceTest, ReopensTheSameClockWithoutLookingItUpAgain) {
    const auto device = makeDevice();
    kernel.interfaces["enp1s0"].phcIndex = 5;
    device->reinitialize();
    EXPECT_EQ(kernel.journal, (Journal{"ioctl 40 0x40603D07 0", "close 40", "open /dev/ptp0 2", "ioctl 41 0x80503D01",
                                       "ioctl 41 0x40603D07 0", "clock_adjtime 41 0x2"}));
    EXPECT_EQ(kernel.openDevices, std::set{41});
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

TEST_F(I210EpochDeviceTest, StepsItsClockByAnOffsetInNanoseconds) {
    const auto device = makeDevice();
    device->adjustTime(1'500'000'000);
    EXPECT_EQ(kernel.journal, Journal{"clock_adjtime 40 0x2100"});
    timex step{};
    step.modes = 0x2100;
    step.time.tv_sec = 1;
    step.time.tv_usec = 500'000'000;
    EXPECT_TRUE(isSame(kernel.lastAdjustment, step));
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

TEST_F(I210EpochDeviceTest, TellsWhyItCouldNotSeeWhetherItIsEnabled) {
    const auto device = makeDevice();
    const auto ask = [&] { device->isEnabled(); };
    EXPECT_EQ(raisedWith(osCalls().socket, 1, EMFILE, ask),
              communicationsFault(53,
                                  "Failed to open socket while checking if enp1s0 is enabled. "
                                  "Got error Too many open files"));
    EXPECT_EQ(raisedWith(osCalls().ioctl, 1, EIO, ask),
              communicationsFault(28,
                                  "Failed to execute SIOCGIFFLAGS ioctl for interface enp1s0."
                                  "Got error Input/output error"));
    EXPECT_TRUE(kernel.openSockets.empty());
    EXPECT_EQ(kernel.openDevices, std::set{40});
}

TEST_F(I210EpochDeviceTest, CannotGenerateAnEpoch) {
    const auto device = makeDevice();
    EXPECT_EQ(raisedBy([&] { device->generateEpoch(); }),
              unsupported(96, "i210 can't generate epoch signal for this hardware"));
    EXPECT_TRUE(kernel.journal.empty());
}

TEST_F(I210EpochDeviceTest, ArmsPin0ForTheNextRisingEdge) {
    const auto device = makeDevice();
    device->armEpochCapture();
    EXPECT_EQ(kernel.journal,
              (Journal{"select 41 { 40 }", "ioctl 40 0x40603D07 0", "ioctl 40 0x40603D07 1", "ioctl 40 0x40103D02"}));
    EXPECT_EQ(kernel.lastTimeout.tv_sec, 0);
    EXPECT_EQ(kernel.lastTimeout.tv_usec, 0);
    ptp_pin_desc pin{};
    pin.func = 1;
    EXPECT_TRUE(isSame(kernel.lastPin, pin));
    ptp_extts_request request{};
    request.flags = 3;
    EXPECT_TRUE(isSame(kernel.lastRequest, request));
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

TEST_F(I210EpochDeviceTest, PassesOnAnErrorWhileDrainingAndLeavesThePinAlone) {
    const auto device = makeDevice();
    const auto arm = [&] { device->armEpochCapture(); };
    kernel.queueEvent(1, 0);
    EXPECT_EQ(raisedWith(osCalls().read, 1, EIO, arm),
              communicationsFault(124, "Failed to get time stamp on enp1s0. Got error Input/output error"));
    EXPECT_EQ(kernel.takeJournal(), Journal{"select 41 { 40 }"});
    EXPECT_EQ(raisedWith(osCalls().select, 2, EINTR, arm),
              communicationsFault(97, "Failed to monitor enp1s0. Got error Interrupted system call"));
    EXPECT_EQ(kernel.takeJournal(), (Journal{"select 41 { 40 }", "read 40 32"}));
}

TEST_F(I210EpochDeviceTest, TellsWhyItCouldNotArm) {
    const std::string noPin = "Couldn't call PTP_PIN_SETFUNC on enp1s0.Got error Input/output error";
    const std::string noRequest = "Unable to submit PTP_EXTTS_REQUEST on enp1s0.Got error Input/output error";
    for (const auto& [nth, message] : {std::pair{1, noPin}, std::pair{2, noPin}, std::pair{3, noRequest}}) {
        const auto device = makeDevice();
        EXPECT_EQ(raisedWith(osCalls().ioctl, nth, EIO, [&] { device->armEpochCapture(); }),
                  communicationsFault(28, message));
    }
}

TEST_F(I210EpochDeviceTest, WaitsOneSecondForTheEdgeAndSwitchesThePinOff) {
    const auto device = makeDevice();
    device->armEpochCapture();
    kernel.seeEdge(1'700'000'001, 999'999'999);
    kernel.journal.clear();
    EXPECT_EQ(device->getEpochTimestamp(), 1'700'000'001'999'999'999U);
    EXPECT_EQ(kernel.journal, (Journal{"select 41 { 40 }", "read 40 32", "ioctl 40 0x40603D07 0"}));
    EXPECT_EQ(kernel.lastTimeout.tv_sec, 1);
    EXPECT_EQ(kernel.lastTimeout.tv_usec, 0);
}

TEST_F(I210EpochDeviceTest, TimesOutWithoutAnEdgeAndStaysArmedUntilItIsArmedAgain) {
    const auto device = makeDevice();
    device->armEpochCapture();
    EXPECT_EQ(raisedBy([&] { device->getEpochTimestamp(); }), timedOut("Timed out while getting time from enp1s0"));
    EXPECT_EQ(kernel.pinFunction, 1U);
    EXPECT_TRUE(kernel.isStamping);

    kernel.seeEdge(4, 0);  // late: belongs to the abandoned epoch
    device->armEpochCapture();
    kernel.seeEdge(5, 0);
    EXPECT_EQ(device->getEpochTimestamp(), 5'000'000'000U);
}

TEST_F(I210EpochDeviceTest, ReturnsTheEventsTimeWithoutRangeChecks) {
    const auto device = makeDevice();
    kernel.queueEvent(-1, 0);
    EXPECT_EQ(device->getEpochTimestamp(), static_cast<QxmTimestamp>(-1'000'000'000));
    kernel.queueEvent(0, 4'000'000'000);
    EXPECT_EQ(device->getEpochTimestamp(), 4'000'000'000U);
}

TEST_F(I210EpochDeviceTest, TellsWhyTheEdgeCouldNotBeRead) {
    const auto device = makeDevice();
    const auto read = [&] { device->getEpochTimestamp(); };
    kernel.queueEvent(1, 0);
    EXPECT_EQ(raisedWith(osCalls().read, 1, EIO, read),
              communicationsFault(124, "Failed to get time stamp on enp1s0. Got error Input/output error"));
    EXPECT_EQ(raisedWith(osCalls().select, 1, EINTR, read),
              communicationsFault(97, "Failed to monitor enp1s0. Got error Interrupted system call"));
    EXPECT_EQ(raisedWith(osCalls().ioctl, 1, EIO, read),
              communicationsFault(28, "Couldn't call PTP_PIN_SETFUNC on enp1s0.Got error Input/output error"));
}

TEST_F(I210EpochDeviceTest, TakesNoMetadata) {
    const auto device = makeDevice();
    device->applyQxmMetadata("{\"TRs\":[]}");
    EXPECT_TRUE(kernel.journal.empty());
}

TEST_F(I210EpochDeviceTest, AsksForAnAlignmentFromTheStartAndKeepsTheFlagThatItIsGivenWhileItsInterfaceIsUp) {
    const auto device = makeDevice();
    EXPECT_TRUE(device->hasBeenEpochAligned());
    device->setHasBeenEpochAligned(false);
    EXPECT_FALSE(device->hasBeenEpochAligned());
    device->setHasBeenEpochAligned(true);
    EXPECT_TRUE(device->hasBeenEpochAligned());
}

TEST_F(I210EpochDeviceTest, ReturnsFalseAndAsksForAnAlignmentOnceItsInterfaceHasBeenDown) {
    const auto device = makeDevice();
    device->setHasBeenEpochAligned(false);
    kernel.interfaces["enp1s0"].isUp = false;
    EXPECT_FALSE(device->hasBeenEpochAligned());
    EXPECT_FALSE(device->hasBeenEpochAligned());
    kernel.interfaces["enp1s0"].isUp = true;
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

TEST_F(I210EpochDeviceTest, PassesOnThatItCouldNotSeeWhetherItIsEnabled) {
    const auto device = makeDevice();
    kernel.interfaces.clear();
    EXPECT_EQ(raisedBy([&] { device->hasBeenEpochAligned(); }).code, -52024);
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
