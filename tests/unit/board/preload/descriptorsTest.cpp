// Tests of the board's descriptors: real ones, shared by duplicates, removed on close.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace descriptorsTest {

class Descriptors : public BoardOn {
protected:
    Descriptors() { switchOn(); }

    static constexpr const char* kOffset = "/sys/bus/i2c/drivers/si514/0-0055/ppb_offset";
};

TEST_F(Descriptors, AreTheLowestFreeNumbersOfTheProcess) {
    const int expected = dup(0);
    close(expected);
    const Fd fd(open(kOffset, O_RDWR));
    EXPECT_EQ(fd, expected);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    const Fd closing(open(kOffset, O_RDWR | O_CLOEXEC));
    EXPECT_EQ(fcntl(closing, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
}

TEST_F(Descriptors, RunOutAsTheKernelSays) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const Fd last(open(kOffset, O_RDWR));
    const rlimit few{static_cast<rlim_t>(last + 1), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const int result = open(kOffset, O_RDWR);
    const int error = errno;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EMFILE);
}

TEST_F(Descriptors, ThatAreDuplicatesShareTheirOffset) {
    const Fd fd(open(kOffset, O_RDWR));
    const Fd copy(dup(fd));
    ASSERT_EQ(write(fd, "12.000000", 9), 9);
    EXPECT_EQ(lseek(copy, 0, SEEK_CUR), 9);
    char buffer[8] = {};
    ASSERT_EQ(lseek(copy, 0, SEEK_SET), 0);
    EXPECT_EQ(read(fd, buffer, sizeof buffer), 3);
}

TEST_F(Descriptors, MeanNothingOnceTheyAreClosed) {
    const int fd = open(kOffset, O_RDWR);
    ASSERT_EQ(close(fd), 0);
    EXPECT_THAT(close(fd), FailsWith(EBADF));
    const Fd machine(open("/dev/null", O_RDWR));
    ASSERT_EQ(machine, fd) << "the number is the machine's again";
    EXPECT_EQ(write(machine, "x", 1), 1);
    const Fd again(open(kOffset, O_RDWR));
    EXPECT_EQ(dup2(machine, again), again);
    EXPECT_EQ(write(again, "not a number", 12), 12) << "replaced by dup2";
}

}  // namespace descriptorsTest
