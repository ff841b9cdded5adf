// Tests of the PTP clocks: capabilities, pins, time stamps, waiting for them, and interface requests on sockets.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/timex.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace deviceFilesTest {

class SwitchedOn : public BoardOn {
protected:
    SwitchedOn() { switchOn(); }
};

class Ptp : public SwitchedOn {
protected:
    static int waitUpTo(int fd, long seconds) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(fd, &set);
        timeval span{seconds, 0};
        return select(fd + 1, &set, nullptr, nullptr, &span);
    }

    int generateEpoch() {
        DriverCall call;
        return call.act(ferrox_, BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    }

    Fd ptp_{open("/dev/ptp0", O_RDWR)};
    Fd ferrox_{open(BOARD_WIRE_FERROX_NODE, O_RDWR | O_CLOEXEC)};
};

TEST_F(Ptp, TellsWhatItCanDo) {
    board_wire_ptp_caps caps{};
    ASSERT_EQ(ioctl(ptp_, BOARD_WIRE_PTP_GETCAPS, &caps), 0);
    EXPECT_EQ(caps.n_ext_ts, 2);
    EXPECT_EQ(caps.n_per_out, 2);
    EXPECT_EQ(caps.n_pins, 4);
    EXPECT_EQ(caps.max_adj, 62'499'999);
}

TEST_F(Ptp, WantsThePinBeforeTheRequest) {
    EXPECT_THAT(requestStamps(ptp_), FailsWith(EBUSY));
    ASSERT_EQ(setPin(ptp_, BOARD_WIRE_PIN_EXTTS), 0);
    EXPECT_EQ(requestStamps(ptp_), 0);
    board_wire_ptp_pin pin{};
    ASSERT_EQ(ioctl(ptp_, BOARD_WIRE_PTP_PIN_GETFUNC, &pin), 0);
    EXPECT_EQ(pin.function, BOARD_WIRE_PIN_EXTTS);
    EXPECT_STREQ(pin.name, "SDP0");
}

TEST_F(Ptp, StampsBothEdgesOfTheEpoch) {
    ASSERT_EQ(setPin(ptp_, BOARD_WIRE_PIN_EXTTS), 0);
    ASSERT_EQ(requestStamps(ptp_), 0);
    ASSERT_EQ(generateEpoch(), 0);
    ASSERT_EQ(waitUpTo(ptp_, 1), 1);
    DriverCall master;
    ASSERT_EQ(master.get(ferrox_, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP), 0);
    board_wire_ptp_extts_event events[4] = {};
    ASSERT_EQ(read(ptp_, events, sizeof events), 64) << "rising and falling";
    const auto stamp = static_cast<std::uint64_t>(events[0].time.seconds) * kSecond + events[0].time.nanoseconds;
    EXPECT_EQ(static_cast<std::int64_t>(stamp - master.result), 350) << "the true difference, exactly";
    EXPECT_EQ(events[1].time.nanoseconds - events[0].time.nanoseconds, 1000U) << "the width of the pulse";
}

TEST_F(Ptp, IsWaitedForInVirtualTimeAndInVain) {
    const std::uint64_t before = now(CLOCK_MONOTONIC);
    EXPECT_EQ(waitUpTo(ptp_, 1), 0);
    const std::uint64_t waited = now(CLOCK_MONOTONIC) - before;
    EXPECT_GE(waited, kSecond);
    EXPECT_LT(waited, kSecond + kMillisecond);
    pollfd entry{ptp_, POLLIN, 0};
    EXPECT_EQ(poll(&entry, 1, 0), 0);
}

TEST_F(Ptp, BlocksAReaderUntilAPulseComes) {
    board_.reset();
    switchOn("[[event]]\nat = \"5 s\"\nkind = \"pulse\"\n");
    const Fd ptp(open("/dev/ptp0", O_RDWR));
    ASSERT_EQ(setPin(ptp, BOARD_WIRE_PIN_EXTTS), 0);
    ASSERT_EQ(requestStamps(ptp), 0);
    board_wire_ptp_extts_event event{};
    EXPECT_EQ(read(ptp, &event, sizeof event), 32);
    EXPECT_GE(board_->rawNs(), 5 * kSecond);
    EXPECT_LT(board_->rawNs(), 5 * kSecond + kMillisecond);
    EXPECT_THAT(read(ptp, &event, 31), FailsWith(EINVAL));
}

TEST_F(Ptp, MeansNothingToTheNextBoard) {
    board_->reset();
    board_wire_ptp_caps caps{};
    EXPECT_EQ(ioctl(ptp_, BOARD_WIRE_PTP_GETCAPS, &caps), -1);
}

TEST_F(Ptp, ClocksAreReadSetAndSteppedThroughTheirIds) {
    const clockid_t clock = BOARD_WIRE_FD_TO_CLOCK(ptp_);
    const auto beforeNs = static_cast<std::int64_t>(now(clock) - now(CLOCK_REALTIME));
    EXPECT_LT(std::abs(beforeNs), 10'000);
    timex step{};
    step.modes = ADJ_SETOFFSET | ADJ_NANO;
    step.time.tv_sec = -1;
    step.time.tv_usec = 999'999'000;  // -1000 ns
    ASSERT_GE(clock_adjtime(clock, &step), 0);
    EXPECT_EQ(board_->differenceNs(BOARD_CLOCK_PHC(kFirst)), 350 - 1000);
    step.time.tv_usec = 1'000'000'000;
    EXPECT_THAT(clock_adjtime(clock, &step), FailsWith(EINVAL));
    timex frequency{};
    frequency.modes = ADJ_FREQUENCY;
    frequency.freq = 62'600L * 65'536;
    EXPECT_THAT(clock_adjtime(clock, &frequency), FailsWith(ERANGE));
    const timespec wanted{1000, 5};
    ASSERT_EQ(clock_settime(clock, &wanted), 0);
    EXPECT_EQ(now(clock) / kSecond, 1000U);
    timespec none{};
    EXPECT_EQ(clock_gettime(BOARD_WIRE_FD_TO_CLOCK(ferrox_), &none), -1) << "no clock";
}

TEST_F(Ptp, MayNotBeSteppedThroughADescriptorForReading) {
    const Fd reader(open("/dev/ptp0", O_RDONLY));
    timex step{};
    step.modes = ADJ_SETOFFSET | ADJ_NANO;
    EXPECT_THAT(clock_adjtime(BOARD_WIRE_FD_TO_CLOCK(reader), &step), FailsWith(EACCES));
    const timespec wanted{1000, 0};
    EXPECT_THAT(clock_settime(BOARD_WIRE_FD_TO_CLOCK(reader), &wanted), FailsWith(EACCES));
    step.modes = 0;
    EXPECT_EQ(clock_adjtime(BOARD_WIRE_FD_TO_CLOCK(reader), &step), 0) << "looking is free";
}

TEST_F(Ptp, IsComparedWithTheSystemClock) {
    board_wire_ptp_sys_offset_extended samples{};
    samples.n_samples = 3;
    ASSERT_EQ(ioctl(ptp_, BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED, &samples), 0);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_LT(samples.time[i][0].nanoseconds, samples.time[i][2].nanoseconds);
        EXPECT_NEAR(samples.time[i][1].nanoseconds, samples.time[i][0].nanoseconds + 1100.0, 50);
    }
    samples.n_samples = 26;
    EXPECT_THAT(ioctl(ptp_, BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED, &samples), FailsWith(EINVAL));
}

TEST_F(Ptp, WorksWithDescriptorsOf1024AndMore) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_cur < 2000) {
        limit.rlim_cur = 2000;
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
            GTEST_SKIP() << "this machine allows " << limit.rlim_max << " descriptors only";
    }
    const Fd high(fcntl(ptp_, F_DUPFD_CLOEXEC, 1500));
    ASSERT_GE(high, 1500);
    ASSERT_EQ(setPin(high, BOARD_WIRE_PIN_EXTTS), 0);
    ASSERT_EQ(requestStamps(high), 0);
    ASSERT_EQ(generateEpoch(), 0);
    std::vector<fd_mask> words((static_cast<std::size_t>(high) + 64) / 64);
    words[static_cast<std::size_t>(high) / 64] = static_cast<fd_mask>(1UL << (high % 64));
    timeval span{1, 0};
    EXPECT_EQ(select(high + 1, reinterpret_cast<fd_set*>(words.data()), nullptr, nullptr, &span), 1);
    EXPECT_NE(words[static_cast<std::size_t>(high) / 64], 0);
}

TEST_F(Ptp, IsNoDeviceAnyMoreOnceItsDriverIsGone) {
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_INTERFACE(kFirst)));
    board_wire_ptp_caps caps{};
    EXPECT_THAT(ioctl(ptp_, BOARD_WIRE_PTP_GETCAPS, &caps), FailsWith(ENODEV));
    EXPECT_THAT(ioctl(ferrox_, BOARD_WIRE_PTP_GETCAPS, &caps), FailsWith(ENOTTY));
}

TEST_F(Ptp, IsFoundThroughASocket) {
    const Fd socketFd(socket(AF_UNIX, SOCK_DGRAM, 0));
    board_wire_ts_info info{};
    info.command = BOARD_WIRE_ETHTOOL_GET_TS_INFO;
    board_wire_ifreq request{};
    std::strcpy(request.name, "enp2s0");
    request.value.data = &info;
    ASSERT_EQ(ioctl(socketFd, BOARD_WIRE_SIOCETHTOOL, &request), 0);
    EXPECT_EQ(info.phc_index, 1);
    ASSERT_EQ(ioctl(socketFd, BOARD_WIRE_SIOCGIFFLAGS, &request), 0);
    EXPECT_EQ(request.value.flags & BOARD_WIRE_IFF_UP, BOARD_WIRE_IFF_UP);
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_INTERFACE(0)));
    ASSERT_EQ(ioctl(socketFd, BOARD_WIRE_SIOCGIFFLAGS, &request), 0);
    EXPECT_EQ(request.value.flags & BOARD_WIRE_IFF_UP, 0);
    std::strcpy(request.name, "lo");
    EXPECT_EQ(ioctl(socketFd, BOARD_WIRE_SIOCGIFFLAGS, &request), 0);
    std::strcpy(request.name, "eth0");
    EXPECT_THAT(ioctl(socketFd, BOARD_WIRE_SIOCGIFFLAGS, &request), FailsWith(ENODEV));
}

}  // namespace deviceFilesTest
