// System calls on a PTP hardware clock or its network interface; failures become exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochHelpers.h"

#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <vector>

#include "source/tools/errnoText.h"
#include "source/tools/linuxFunctionHelpers.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper::i210EpochHelpers {
namespace {

constexpr const char* kFile = "i210EpochHelpers";

constexpr zuerr::ErrorSite communicationsFault(std::int32_t line) noexcept {
    return {zuerr::zuplaterr_communicationsFault, kFile, line};
}

constexpr zuerr::ErrorSite kIoctlFailed = communicationsFault(28);
constexpr zuerr::ErrorSite kOpenFailed = communicationsFault(40);
constexpr zuerr::ErrorSite kSocketFailed = communicationsFault(53);
constexpr zuerr::ErrorSite kAdjustFailed = communicationsFault(65);
constexpr zuerr::ErrorSite kGetTimeFailed = communicationsFault(77);
constexpr zuerr::ErrorSite kWaitFailed = communicationsFault(97);
constexpr zuerr::ErrorSite kTimedOut{zuerr::zuplaterr_operationTimedOut, kFile, 107};
constexpr zuerr::ErrorSite kReadFailed = communicationsFault(124);
constexpr zuerr::ErrorSite kNoClock{zuerr::zuplaterr_featureUnsupported, kFile, 148};

static_assert(SIOCETHTOOL == 0x8946 && ETHTOOL_GET_TS_INFO == 0x41);
static_assert(sizeof(ifreq) == 40 && offsetof(ifreq, ifr_data) == 16 && IFNAMSIZ == 16);
static_assert(sizeof(ethtool_ts_info) == 44 && offsetof(ethtool_ts_info, phc_index) == 8);
static_assert(sizeof(ptp_extts_event) == 32 && offsetof(ptp_extts_event, index) == 16);
static_assert(offsetof(ptp_clock_time, nsec) == 8);

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

/// Throws `context`, joined, followed by the system's reason.
[[noreturn]] void raiseWithContext(const zuerr::ErrorSite& site, const Context& context, int error) {
    zuerr::raise(site, {context.before, context.subject, context.after, "Got error ", ErrnoText(error)});
}

/// A set of one descriptor for select, also beyond the 1023 of an fd_set.
class DescriptorSet {
public:
    explicit DescriptorSet(std::int32_t fd) {
        const auto bit = static_cast<std::size_t>(fd);
        const std::size_t wordCount = (bit + kBitsPerWord) / kBitsPerWord;
        if (wordCount > small_.size()) large_.resize(wordCount);
        words_ = large_.empty() ? small_.data() : large_.data();
        words_[bit / kBitsPerWord] = 1UL << (bit % kBitsPerWord);
    }
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    fd_set* get() noexcept { return reinterpret_cast<fd_set*>(words_); }

private:
    static constexpr std::size_t kBitsPerWord = sizeof(unsigned long) * CHAR_BIT;

    std::array<unsigned long, FD_SETSIZE / kBitsPerWord> small_{};
    std::vector<unsigned long> large_;
    unsigned long* words_;
};

}  // namespace

ifreq makeInterfaceRequest(std::string_view interfaceName) noexcept {
    ifreq request{};
    interfaceName.copy(request.ifr_name, std::min<std::size_t>(interfaceName.size(), IFNAMSIZ - 1));
    return request;
}

std::int32_t openSocket(const Context& context) {
    const int fd = osCalls().socket(AF_UNIX, SOCK_DGRAM, 0);
    const int error = errno;
    if (fd < 0) raiseWithContext(kSocketFailed, context, error);
    return fd;
}

std::int32_t ptpIoctl(std::int32_t fd, unsigned long request, void* argument, const Context& context) {
    const int result = osCalls().ioctl(fd, request, argument);
    if (result < 0) {
        // Kept on purpose: the descriptor is closed first, and the message reports the errno left by close().
        osCalls().close(fd);
        const int error = errno;
        raiseWithContext(kIoctlFailed, context, error);
    }
    return result;
}

std::int32_t adjustPhc(std::int32_t fd, timex& adjustment, const Context& context) {
    const int state = osCalls().clock_adjtime(fdToClockId(fd), &adjustment);
    const int error = errno;
    if (state < 0) raiseWithContext(kAdjustFailed, context, error);
    return state;
}

QxmTimestamp getPhcTime(std::int32_t fd, const Context& context) {
    timespec time{};
    const int result = osCalls().clock_gettime(fdToClockId(fd), &time);
    const int error = errno;
    if (result < 0) raiseWithContext(kGetTimeFailed, context, error);
    return timespecToQxmTimestamp(time);
}

bool isEventReady(std::int32_t fd, std::string_view context, timeval timeout) {
    int ready = -1;
    int error = EBADF;  // the kernel's error for a negative descriptor, which no set can hold
    if (fd >= 0) {
        DescriptorSet readable(fd);
        ready = osCalls().select(fd + 1, readable.get(), nullptr, nullptr, &timeout);
        error = errno;
    }
    if (ready < 0) zuerr::raise(kWaitFailed, {"Failed to monitor ", context, ". Got error ", ErrnoText(error)});
    return ready > 0;
}

void waitForEvent(std::int32_t fd, std::string_view context, timeval timeout) {
    if (!isEventReady(fd, context, timeout)) zuerr::raise(kTimedOut, {"Timed out while getting time from ", context});
}

std::int64_t readExtTsEvent(std::int32_t fd, const Context& context) {
    ptp_extts_event event{};
    const long count = osCalls().read(fd, &event, sizeof event);
    const int error = errno;
    if (count != static_cast<long>(sizeof event)) {
        // Kept on purpose: a short read reports the current, possibly stale, errno.
        zuerr::raise(kReadFailed, {context.before, context.subject, context.after, " Got error ", ErrnoText(error)});
    }
    // Wraps in 64 bits: a device may report any number of seconds.
    const std::uint64_t secondsInNs =
        static_cast<std::uint64_t>(event.t.sec) * static_cast<std::uint64_t>(kNsPerSecond);
    return static_cast<std::int64_t>(secondsInNs + event.t.nsec);
}

std::int32_t openPtpDevice(const std::string& path) {
    // Kept on purpose: no O_CLOEXEC, so that phc2sys inherits the descriptor.
    const int fd = osCalls().open(path.c_str(), O_RDWR);
    const int error = errno;
    if (fd < 0) {
        zuerr::raise(kOpenFailed, {"Couldn't open session to device ", path, ". Got error ", ErrnoText(error)});
    }
    return fd;
}

std::int32_t getPhcIndex(const std::string& interfaceName) {
    const std::int32_t fd = openSocket({"Failed to open socket while querying phc index for ", interfaceName, ". "});
    ethtool_ts_info information{};
    information.cmd = ETHTOOL_GET_TS_INFO;
    ifreq request = makeInterfaceRequest(interfaceName);
    request.ifr_data = reinterpret_cast<char*>(&information);
    ptpIoctl(fd, SIOCETHTOOL, &request, {"Failed to execute SIOCETHTOOL ioctl for interface ", interfaceName, "."});
    osCalls().close(fd);
    if (information.phc_index < 0) zuerr::raise(kNoClock, {interfaceName, " does not have a valid phc index."});
    return information.phc_index;
}

}  // namespace halvexTimekeeper::i210EpochHelpers
