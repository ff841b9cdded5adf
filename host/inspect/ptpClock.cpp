// Reads a PTP hardware clock: capabilities, pins, and its time against the system's. Changes nothing.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/ptpClock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "host/output/units.h"

namespace halvexctl {
namespace {

constexpr std::uint32_t kReadings = 9;

std::string textOf(int error) { return std::generic_category().message(error); }

std::int64_t toNs(const ptp_clock_time& time) { return time.sec * kNsPerSecond + time.nsec; }

/// System time before, PHC time, system time after: the PHC was read between the two.
CrossTime crossTimeOf(const ptp_clock_time& before, const ptp_clock_time& clock, const ptp_clock_time& after) {
    const std::int64_t widthNs = toNs(after) - toNs(before);
    const std::int64_t middleNs = toNs(before) + widthNs / 2;
    return {static_cast<std::uint64_t>(middleNs), toNs(clock) - middleNs, (widthNs + 1) / 2};
}

/// Queries a network interface through a socket of its own.
bool askInterface(const std::string& name, unsigned long number, ifreq& question) {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    name.copy(question.ifr_name, IFNAMSIZ - 1);
    const int result = ::ioctl(fd, number, &question);
    ::close(fd);
    return result >= 0;
}

}  // namespace

std::string_view pinFunctionName(std::uint32_t function) {
    static constexpr std::array<std::string_view, 4> kNames{"none", "external time stamps", "periodic output",
                                                            "physical sync"};
    return function < kNames.size() ? kNames[function] : "unknown";
}

PtpClock::PtpClock(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    const int error = errno;
    if (fd_ < 0) {
        errorText_ = fmt::format("{} cannot be opened: {}", path, textOf(error));
    }
}

PtpClock::~PtpClock() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool PtpClock::request(unsigned long number, void* argument, const char* name) {
    if (fd_ < 0) {
        return false;
    }
    const int result = ::ioctl(fd_, number, argument);
    const int error = errno;
    if (result < 0) {
        errorText_ = fmt::format("{} failed: {}", name, textOf(error));
        return false;
    }
    return true;
}

std::optional<PtpCapabilities> PtpClock::capabilities() {
    ptp_clock_caps caps{};
    if (!request(PTP_CLOCK_GETCAPS, &caps, "PTP_CLOCK_GETCAPS")) {
        return std::nullopt;
    }
    return PtpCapabilities{caps.n_ext_ts, caps.n_per_out, caps.n_pins, caps.max_adj};
}

std::optional<PtpPin> PtpClock::pin(std::uint32_t index) {
    ptp_pin_desc description{};
    description.index = index;
    if (!request(PTP_PIN_GETFUNC, &description, "PTP_PIN_GETFUNC")) {
        return std::nullopt;
    }
    return PtpPin{std::string(description.name, ::strnlen(description.name, sizeof description.name)), description.func,
                  description.chan};
}

std::optional<CrossTime> PtpClock::crossTime() {
    ptp_sys_offset_extended readings{};
    readings.n_samples = kReadings;
    if (!request(PTP_SYS_OFFSET_EXTENDED, &readings, "PTP_SYS_OFFSET_EXTENDED")) {
        return std::nullopt;
    }
    CrossTime best = crossTimeOf(readings.ts[0][0], readings.ts[0][1], readings.ts[0][2]);
    for (std::uint32_t i = 1; i < kReadings; ++i) {
        const CrossTime next = crossTimeOf(readings.ts[i][0], readings.ts[i][1], readings.ts[i][2]);
        if (next.boundNs >= 0 && (best.boundNs < 0 || next.boundNs < best.boundNs)) {
            best = next;  // a step of the system time in between makes the width negative
        }
    }
    return best.boundNs < 0 ? std::nullopt : std::optional(best);
}

std::optional<std::int32_t> ptpIndexOf(const std::string& interfaceName) {
    ethtool_ts_info information{};
    information.cmd = ETHTOOL_GET_TS_INFO;
    ifreq question{};
    question.ifr_data = reinterpret_cast<char*>(&information);
    return askInterface(interfaceName, SIOCETHTOOL, question) ? std::optional(information.phc_index) : std::nullopt;
}

std::optional<bool> isInterfaceUp(const std::string& interfaceName) {
    ifreq question{};
    return askInterface(interfaceName, SIOCGIFFLAGS, question) ? std::optional((question.ifr_flags & IFF_UP) != 0)
                                                               : std::nullopt;
}

}  // namespace halvexctl
