// System calls on PTP hardware clocks and their network interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochHelpers.h"

#include "tests/support/allocationCount.h"
#include "tests/support/raisedError.h"
#include "tests/unit/source/zuHalvexTimekeeper/fakeI210.h"

namespace halvexTimekeeper::i210EpochHelpers::i210EpochHelpersTest {

using namespace testsupport;
using Journal = FakeI210::Journal;

constexpr ExpectedSite communicationsFault(std::int32_t line) {
    return {-52024, "zuplaterr_communicationsFault", "i210EpochHelpers", line};
}
constexpr ExpectedSite kNoClock{-52002, "zuplaterr_featureUnsupported", "i210EpochHelpers", 148};

constexpr Context kContext{"Doing ", "this", ". "};
constexpr timeval kAtOnce{0, 0};

struct I210EpochHelpers : testing::Test {
    FakeI210 kernel;
    int device = osCalls().open("/dev/ptp0", O_RDWR);

    I210EpochHelpers() { kernel.journal.clear(); }
};

TEST_F(I210EpochHelpers, DeriveTheClockIdFromTheDescriptor) {
    EXPECT_EQ(fdToClockId(0), -5);
    EXPECT_EQ(fdToClockId(3), -29);
    EXPECT_EQ(fdToClockId(40), (~40 * 8) | 3);
    EXPECT_EQ(fdToClockId(-1), 3);
}

TEST_F(I210EpochHelpers, ReturnTheResultOfAnIoctl) {
    const OsCallGuard answer{osCalls().ioctl, [](int, unsigned long, void*) { return 7; }};
    EXPECT_EQ(ptpIoctl(device, PTP_CLOCK_GETCAPS, nullptr, kContext), 7);
}

TEST_F(I210EpochHelpers, CloseTheDescriptorAfterAFailedIoctlAndTakeErrnoAfterwards) {
    const OsCallGuard fail{osCalls().ioctl, failNth(1, EIO)};
    const OsCallGuard failToo{osCalls().close, failNth(2, EINTR)};
    EXPECT_EQ(raisedBy([&] { ptpIoctl(device, PTP_CLOCK_GETCAPS, nullptr, kContext); }),
              makeError(communicationsFault(28), "Doing this. Got error Input/output error"));
    EXPECT_EQ(kernel.journal, Journal{"close 40"});

    const OsCallGuard failAgain{osCalls().ioctl, failNth(1, EIO)};
    EXPECT_EQ(raisedBy([&] { ptpIoctl(device, PTP_CLOCK_GETCAPS, nullptr, kContext); }),
              makeError(communicationsFault(28), "Doing this. Got error Interrupted system call"));
}

TEST_F(I210EpochHelpers, CloseDescriptor0TooAfterAFailedIoctl) {
    kernel.openDevices.insert(0);
    const OsCallGuard fail{osCalls().ioctl, failNth(1, EIO)};
    EXPECT_EQ(raisedBy([] { ptpIoctl(0, PTP_CLOCK_GETCAPS, nullptr, kContext); }),
              makeError(communicationsFault(28), "Doing this. Got error Input/output error"));
    EXPECT_EQ(kernel.journal, Journal{"close 0"});
}

TEST_F(I210EpochHelpers, CloseASocketThatIsDescriptor0) {
    const OsCallGuard withoutStandardInput{osCalls().socket, [](int, int, int) { return 0; }};
    const OsCallGuard answer{osCalls().ioctl, [](int, unsigned long, void*) { return 0; }};
    EXPECT_EQ(getPhcIndex("enp1s0"), 0);
    EXPECT_EQ(kernel.journal, Journal{"close 0"});
}

TEST_F(I210EpochHelpers, TakeTheContextAsAStringToo) {
    const OsCallGuard fail{osCalls().socket, failNth(1, EMFILE)};
    const std::string context = "Doing that. ";
    EXPECT_EQ(raisedBy([&] { openSocket(context); }),
              makeError(communicationsFault(53), "Doing that. Got error Too many open files"));
    const OsCallGuard failRead{osCalls().read, failNth(1, EIO)};
    EXPECT_EQ(raisedBy([&] { readExtTsEvent(device, "Doing this"); }),
              makeError(communicationsFault(124), "Doing this Got error Input/output error"));
}

TEST_F(I210EpochHelpers, AdjustTheClockOfTheDescriptorAndReturnItsState) {
    const OsCallGuard answer{osCalls().clock_adjtime, [](int clock, timex* adjustment) {
                                 EXPECT_EQ(clock, fdToClockId(40));
                                 EXPECT_EQ(adjustment->modes, ADJ_NANO);
                                 return 5;
                             }};
    timex adjustment{};
    adjustment.modes = ADJ_NANO;
    EXPECT_EQ(adjustPhc(device, adjustment, kContext), 5);
}

TEST_F(I210EpochHelpers, ReadTheClockOfTheDescriptorIntoAZeroedRecord) {
    EXPECT_EQ(getPhcTime(device, kContext), 1'700'000'000'000'000'123U);
    EXPECT_EQ(kernel.journal, Journal{"clock_gettime 40"});
    EXPECT_TRUE(isSame(kernel.timeAsAsked, timespec{}));
}

TEST_F(I210EpochHelpers, PassTheConversionErrorsOfAClockOn) {
    kernel.now = {-1, 0};
    EXPECT_EQ(raisedBy([&] { getPhcTime(device, kContext); }).code, -52008);
    kernel.now = {18'446'744'074, 0};
    EXPECT_EQ(raisedBy([&] { getPhcTime(device, kContext); }).code, -52008);
}

TEST_F(I210EpochHelpers, RefuseToMonitorANegativeDescriptorAsTheKernelWould) {
    EXPECT_EQ(raisedBy([&] { waitForEvent(-1, "enp1s0", kAtOnce); }),
              makeError(communicationsFault(97), "Failed to monitor enp1s0. Got error Bad file descriptor"));
    EXPECT_TRUE(kernel.journal.empty());
}

TEST_F(I210EpochHelpers, MonitorDescriptorsOf1024AndMore) {
    kernel.queueEvent(1, 2);
    for (const int fd : {0, 63, 64, 1022, 1023, 1024, 1025, 4095, 65536}) {
        kernel.journal.clear();
        EXPECT_NO_THROW(waitForEvent(fd, "enp1s0", kAtOnce));
        EXPECT_EQ(kernel.journal, Journal{"select " + std::to_string(fd + 1) + " { " + std::to_string(fd) + " }"});
    }
}

TEST_F(I210EpochHelpers, ReadOneEventIntoAZeroedRecord) {
    const OsCallGuard answer{osCalls().read, [](int fd, void* buffer, unsigned long count) {
                                 EXPECT_EQ(fd, 40);
                                 EXPECT_EQ(count, 32U);
                                 ptp_extts_event event{};
                                 EXPECT_EQ(std::memcmp(buffer, &event, sizeof event), 0);
                                 event.t.sec = 1'700'000'000;
                                 event.t.nsec = 999'999'999;
                                 event.index = 1;  // another channel, which counts as well
                                 event.flags = 0xFF;
                                 std::memcpy(buffer, &event, sizeof event);
                                 return 32L;
                             }};
    EXPECT_EQ(readExtTsEvent(device, kContext), 1'700'000'000'999'999'999);
}

TEST_F(I210EpochHelpers, ComputeEventTimesInSigned64BitsThatWrap) {
    kernel.queueEvent(-1, 999'999'999);
    EXPECT_EQ(readExtTsEvent(device, kContext), -1);
    kernel.queueEvent(std::numeric_limits<std::int64_t>::max(), 0);
    EXPECT_EQ(readExtTsEvent(device, kContext), -1'000'000'000);
}

TEST_F(I210EpochHelpers, RefuseAnyOtherCountThan32EvenWithErrno0) {
    for (const long count : {0L, 16L, 31L, 33L, 64L}) {
        const OsCallGuard answer{osCalls().read, [&](int, void*, unsigned long) {
                                     errno = 0;
                                     return count;
                                 }};
        EXPECT_EQ(raisedBy([&] {
                      readExtTsEvent(device, {"Doing ", "this", "."});
                  }),
                  makeError(communicationsFault(124), "Doing this. Got error Success"));
    }
}

TEST_F(I210EpochHelpers, FindTheClockOfAnInterface) {
    kernel.interfaces["enp1s0"].phcIndex = 12;
    EXPECT_EQ(getPhcIndex("enp1s0"), 12);
    EXPECT_EQ(kernel.journal, (Journal{"socket 1,2,0", "ioctl 100 0x8946", "close 100"}));

    ethtool_ts_info query{};
    query.cmd = 0x41;
    EXPECT_TRUE(isSame(kernel.lastTimestampQuery, query));
    ifreq request{};
    std::memcpy(request.ifr_name, "enp1s0", 6);
    request.ifr_data = kernel.lastInterfaceRequest.ifr_data;
    EXPECT_TRUE(isSame(kernel.lastInterfaceRequest, request));
}

TEST_F(I210EpochHelpers, CutALongInterfaceNameInTheRequestAndTellItInFull) {
    EXPECT_EQ(raisedBy([] { getPhcIndex("abcdefghijklmnop"); }),
              makeError(communicationsFault(28),
                        "Failed to execute SIOCETHTOOL ioctl for interface abcdefghijklmnop.Got error No such device"));
    EXPECT_STREQ(kernel.lastInterfaceRequest.ifr_name, "abcdefghijklmno");

    kernel.interfaces["abcdefghijklmno"] = {-1, true};
    EXPECT_EQ(raisedBy([] { getPhcIndex("abcdefghijklmnop"); }),
              makeError(kNoClock, "abcdefghijklmnop does not have a valid phc index."));
    EXPECT_TRUE(kernel.openSockets.empty());
    kernel.interfaces["abcdefghijklmno"] = {3, true};
    EXPECT_EQ(getPhcIndex("abcdefghijklmno"), 3);
}

TEST_F(I210EpochHelpers, PassTheStandardErrorOfAnEmptyEntryOn) {
    const OsCallGuard noSocket{osCalls().socket, nullptr};
    const OsCallGuard noIoctl{osCalls().ioctl, nullptr};
    const OsCallGuard noAdjust{osCalls().clock_adjtime, nullptr};
    const OsCallGuard noTime{osCalls().clock_gettime, nullptr};
    const OsCallGuard noSelect{osCalls().select, nullptr};
    const OsCallGuard noRead{osCalls().read, nullptr};
    const OsCallGuard noOpen{osCalls().open, nullptr};
    timex adjustment{};
    EXPECT_THROW(openSocket(kContext), std::bad_function_call);
    EXPECT_THROW(ptpIoctl(device, 0, nullptr, kContext), std::bad_function_call);
    EXPECT_THROW(adjustPhc(device, adjustment, kContext), std::bad_function_call);
    EXPECT_THROW(getPhcTime(device, kContext), std::bad_function_call);
    EXPECT_THROW(waitForEvent(device, "enp1s0", kAtOnce), std::bad_function_call);
    EXPECT_THROW(readExtTsEvent(device, kContext), std::bad_function_call);
    EXPECT_THROW(openPtpDevice("/dev/ptp0"), std::bad_function_call);
    EXPECT_THROW(getPhcIndex("enp1s0"), std::bad_function_call);
}

/// A pipe whose read end has a descriptor beyond an fd_set; none if the system grants no such descriptor.
struct HighPipe {
    static constexpr int kHigh = 3000;
    int writingEnd = -1;

    HighPipe() {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, kHigh + 1));
        setrlimit(RLIMIT_NOFILE, &limit);
        int ends[2];
        if (pipe(ends) != 0) return;
        if (dup2(ends[0], kHigh) == kHigh) {
            writingEnd = ends[1];
        } else {
            ::close(ends[1]);
        }
        ::close(ends[0]);
    }
    ~HighPipe() {
        if (writingEnd < 0) return;
        ::close(writingEnd);
        ::close(kHigh);
    }
};

TEST(I210EpochHelpersOnTheKernel, MonitorADescriptorOf3000) {
    const HighPipe highPipe;
    if (highPipe.writingEnd < 0) GTEST_SKIP() << "this system grants no descriptor of " << HighPipe::kHigh;
    EXPECT_FALSE(isEventReady(HighPipe::kHigh, "pipe", kAtOnce));
    ASSERT_EQ(write(highPipe.writingEnd, "x", 1), 1);
    EXPECT_TRUE(isEventReady(HighPipe::kHigh, "pipe", kAtOnce));
    EXPECT_EQ(raisedBy([] { waitForEvent(HighPipe::kHigh + 1, "pipe", kAtOnce); }),
              makeError(communicationsFault(97), "Failed to monitor pipe. Got error Bad file descriptor"));
}

}  // namespace halvexTimekeeper::i210EpochHelpers::i210EpochHelpersTest
