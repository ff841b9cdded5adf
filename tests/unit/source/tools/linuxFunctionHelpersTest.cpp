// The table of operating-system calls and the conversions of Linux times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/linuxFunctionHelpers.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include "tests/support/allocationCount.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::linuxFunctionHelpersTest {

using namespace testsupport;

constexpr ExpectedSite kInvalid{-52008, "zuplaterr_osFault", "linuxFunctionHelpers", 42};
constexpr ExpectedSite kOverflow{-52008, "zuplaterr_osFault", "linuxFunctionHelpers", 51};

auto converting(std::int64_t seconds, std::int64_t nanoseconds) {
    return [=] { timespecToQxmTimestamp({seconds, nanoseconds}); };
}

TEST(TimespecToQxmTimestamp, CountsNanoseconds) {
    EXPECT_EQ(timespecToQxmTimestamp({0, 0}), 0U);
    EXPECT_EQ(timespecToQxmTimestamp({1, 999'999'999}), 1'999'999'999U);
    EXPECT_EQ(timespecToQxmTimestamp({1'700'000'000, 5}), 1'700'000'000'000'000'005U);
}

TEST(TimespecToQxmTimestamp, TakesTheLargestTimestampAndNotOneNanosecondMore) {
    EXPECT_EQ(timespecToQxmTimestamp({18'446'744'073, 709'551'615}), std::numeric_limits<QxmTimestamp>::max());
    EXPECT_EQ(raisedBy(converting(18'446'744'073, 709'551'616)),
              makeError(kOverflow,
                        "Overflow error while converting linux time spec to QXM timestamp. Original timespec "
                        "value - 18446744073 sec 709551616 nsec"));
    EXPECT_EQ(raisedBy(converting(18'446'744'074, 0)),
              makeError(kOverflow,
                        "Overflow error while converting linux time spec to QXM timestamp. Original timespec "
                        "value - 18446744074 sec 0 nsec"));
}

TEST(TimespecToQxmTimestamp, RefusesNegativeFieldsAndABillionNanosecondsBeforeItLooksAtTheRange) {
    const auto refusal = [](const std::string& fields) {
        return makeError(kInvalid, "Invalid timespec. timespec value - " + fields);
    };
    EXPECT_EQ(raisedBy(converting(5, 1'000'000'000)), refusal("5 sec 1000000000 nsec"));
    EXPECT_EQ(raisedBy(converting(-1, 0)), refusal("-1 sec 0 nsec"));
    EXPECT_EQ(raisedBy(converting(3, -7)), refusal("3 sec -7 nsec"));
    EXPECT_EQ(raisedBy(converting(std::numeric_limits<std::int64_t>::max(), 1'000'000'000)),
              refusal("9223372036854775807 sec 1000000000 nsec"));
}

TEST(TimespecToQxmTimestamp, AllocatesNothing) {
    const long before = countAllocations();
    timespecToQxmTimestamp({18'446'744'073, 709'551'615});
    EXPECT_EQ(countAllocations(), before);
}

TEST(QxmTimestampToTimespec, SplitsAnyTimestamp) {
    EXPECT_EQ(qxmTimestampToTimespec(0).tv_sec, 0);
    EXPECT_EQ(qxmTimestampToTimespec(1'999'999'999).tv_sec, 1);
    EXPECT_EQ(qxmTimestampToTimespec(1'999'999'999).tv_nsec, 999'999'999);
    const timespec largest = qxmTimestampToTimespec(std::numeric_limits<QxmTimestamp>::max());
    EXPECT_EQ(largest.tv_sec, 18'446'744'073);
    EXPECT_EQ(largest.tv_nsec, 709'551'615);
}

TEST(OsCallsTable, IsOneForTheProcess) { EXPECT_EQ(&osCalls(), &osCalls()); }

TEST(OsCallsTable, ReadsAndAdjustsClocksWithTheLinuxFunctions) {
    timespec before{};
    timespec seen{};
    ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &before), 0);
    EXPECT_EQ(osCalls().clock_gettime(CLOCK_MONOTONIC, &seen), 0);
    EXPECT_GE(timespecToQxmTimestamp(seen), timespecToQxmTimestamp(before));

    timex query{};  // modes 0: reads only
    EXPECT_GE(osCalls().clock_adjtime(CLOCK_REALTIME, &query), 0);
    EXPECT_GT(query.time.tv_sec, 0);
    EXPECT_EQ(osCalls().clock_adjtime(-1, &query), -1);
}

TEST(OsCallsTable, OpensReadsAndClosesWithTheLinuxFunctions) {
    const int fd = osCalls().open("/dev/zero", O_RDONLY);
    ASSERT_GE(fd, 0);
    char byte = 1;
    EXPECT_EQ(osCalls().read(fd, &byte, 1), 1);
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(osCalls().close(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(OsCallsTable, MakesSocketsControlsAndSelectsWithTheLinuxFunctions) {
    const int fd = osCalls().socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GE(fd, 0);
    int waiting = -1;
    EXPECT_EQ(osCalls().ioctl(fd, FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 0);
    osCalls().close(fd);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval atOnce{};
    EXPECT_EQ(osCalls().select(ends[0] + 1, &readable, nullptr, nullptr, &atOnce), 1);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace halvexTimekeeper::linuxFunctionHelpersTest
