// Tests of injected faults as a program sees them: errno, short counts, delays, driver statuses.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <glob.h>
#include <sys/select.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace boardCoreTest {

class Faults : public BoardOn {};

TEST_F(Faults, FailTheNthOpenOfAFileOnce) {
    switchOn("[[fault]]\ncall = \"open\"\ntarget = \"si514\"\nfile = \"ppb_offset\"\nnth = 2\nerror = \"EMFILE\"\n");
    const char* const path = "/sys/bus/i2c/drivers/si514/0-0055/ppb_offset";
    EXPECT_GE(Fd(open(path, O_RDWR)), 0);
    EXPECT_THAT(open(path, O_RDWR), FailsWith(EMFILE));
    EXPECT_GE(Fd(open(path, O_RDWR)), 0);
    EXPECT_NE(traced("\"kind\":\"fault\""), "");
}

TEST_F(Faults, CutAWriteShort) {
    switchOn("[[fault]]\ncall = \"write\"\ntarget = \"si514\"\nshort_count = 3\n");
    const Fd fd(open("/sys/bus/i2c/drivers/si514/0-0055/ppb_offset", O_RDWR));
    EXPECT_EQ(write(fd, "100.000000", 10), 3);
    EXPECT_EQ(pwrite(fd, "100.000000", 10, 0), 10);
}

TEST_F(Faults, MakeAStdioReadFail) {
    switchOn("[[fault]]\ncall = \"fread\"\ntarget = \"fpga\"\nerror = \"EIO\"\n");
    FILE* const file =
        fopen("/proc/driver/zu/horlixFpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0/interfacePath", "re");
    ASSERT_NE(file, nullptr);
    char buffer[64];
    EXPECT_EQ(fread(buffer, 1, sizeof buffer, file), 0U);
    EXPECT_NE(ferror(file), 0);
    fclose(file);
}

TEST_F(Faults, MakeGlobGiveUp) {
    switchOn("[[fault]]\ncall = \"glob\"\ntarget = \"ferrox\"\nerror = \"ENOMEM\"\n");
    glob_t found{};
    const char* const pattern = "/proc/driver/zu/*/deviceInterfaces/nZUHORLIXFERROX000_HorlixFerrox\\\\*";
    EXPECT_EQ(glob(pattern, GLOB_ONLYDIR, nullptr, &found), GLOB_NOSPACE);
    EXPECT_EQ(glob(pattern, GLOB_ONLYDIR, nullptr, &found), 0);
    globfree(&found);
}

TEST_F(Faults, LetADriverReportItsOwnStatus) {
    switchOn("[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"getTime\"\ndriver_status = -52011\n");
    const Fd ferrox(open(BOARD_WIRE_FERROX_NODE, O_RDWR));
    DriverCall call;
    EXPECT_EQ(call.get(ferrox, BOARD_WIRE_FERROX_GET_TIME), 0) << "the call itself works";
    EXPECT_EQ(call.status, -52011);
}

TEST_F(Faults, InterruptAWait) {
    switchOn("[[fault]]\ncall = \"select\"\nerror = \"EINTR\"\n");
    const Fd ptp(open("/dev/ptp0", O_RDWR));
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ptp, &set);
    timeval span{1, 0};
    EXPECT_THAT(select(ptp + 1, &set, nullptr, nullptr, &span), FailsWith(EINTR));
}

TEST_F(Faults, TakeTheirTime) {
    switchOn("[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\ndelay = \"30 ms\"\n");
    const Fd ferrox(open(BOARD_WIRE_FERROX_NODE, O_RDWR));
    DriverCall call;
    const std::uint64_t before = now(CLOCK_MONOTONIC);
    EXPECT_EQ(call.get(ferrox, BOARD_WIRE_FERROX_GET_TIME), 0);
    EXPECT_GE(now(CLOCK_MONOTONIC) - before, 30 * kMillisecond);
}

}  // namespace boardCoreTest
