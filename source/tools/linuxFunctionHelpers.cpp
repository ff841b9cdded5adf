// The operating-system calls of the devices, in a table that tests can replace, and conversions of Linux times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/linuxFunctionHelpers.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <limits>

#include "source/tools/decimalText.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kInvalidTimespec{zuerr::zuplaterr_osFault, "linuxFunctionHelpers", 42};
constexpr zuerr::ErrorSite kTimespecOverflow{zuerr::zuplaterr_osFault, "linuxFunctionHelpers", 51};

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
constexpr QxmTimestamp kLargestTimestamp = std::numeric_limits<QxmTimestamp>::max();
constexpr std::int64_t kLargestSeconds = kLargestTimestamp / kNsPerSecond;
constexpr std::int64_t kLargestNsOfLargestSeconds = kLargestTimestamp % kNsPerSecond;
static_assert(kLargestSeconds == 18446744073 && kLargestNsOfLargestSeconds == 709551615);

/// Never destroys the table: a union does not destroy its members.
union TableForGood {
    TableForGood()
        : calls{.clock_gettime = ::clock_gettime,
                .clock_adjtime = ::clock_adjtime,
                .socket = ::socket,
                .ioctl = ::ioctl,
                .close = ::close,
                .open = ::open,
                .read = ::read,
                .select = ::select} {}
    ~TableForGood() {}

    OsCalls calls;
};

TableForGood table;

}  // namespace

OsCalls& osCalls() noexcept { return table.calls; }

QxmTimestamp timespecToQxmTimestamp(const timespec& time) {
    const std::int64_t seconds = time.tv_sec;
    const std::int64_t nanoseconds = time.tv_nsec;
    if (seconds < 0 || nanoseconds < 0 || nanoseconds >= static_cast<std::int64_t>(kNsPerSecond)) {
        zuerr::raise(kInvalidTimespec, {"Invalid timespec. timespec value - ", DecimalText(seconds), " sec ",
                                        DecimalText(nanoseconds), " nsec"});
    }
    if (seconds > kLargestSeconds || (seconds == kLargestSeconds && nanoseconds > kLargestNsOfLargestSeconds)) {
        zuerr::raise(kTimespecOverflow,
                     {"Overflow error while converting linux time spec to QXM timestamp. Original timespec value - ",
                      DecimalText(seconds), " sec ", DecimalText(nanoseconds), " nsec"});
    }
    return static_cast<QxmTimestamp>(seconds) * kNsPerSecond + static_cast<QxmTimestamp>(nanoseconds);
}

timespec qxmTimestampToTimespec(QxmTimestamp timestamp) noexcept {
    return {.tv_sec = static_cast<time_t>(timestamp / kNsPerSecond),
            .tv_nsec = static_cast<long>(timestamp % kNsPerSecond)};
}

}  // namespace halvexTimekeeper
