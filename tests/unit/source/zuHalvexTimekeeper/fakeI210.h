// Network interfaces with PTP hardware clocks behind the call table, as the kernel presents them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <climits>

#include "source/tools/linuxFunctionHelpers.h"
#include "tests/support/osCallGuard.h"

namespace halvexTimekeeper {

/// One clock shared by all interfaces, a queue of external time stamps, and a journal of calls. Uses descriptor numbers
/// of its own: sockets from 100, clock devices from 40. Replaces the whole call table for a scope.
class FakeI210 {
public:
    using Journal = std::vector<std::string>;

    struct Interface {
        int phcIndex;
        bool isUp;
    };

    std::map<std::string, Interface> interfaces{{"enp1s0", {0, true}}};
    ptp_clock_caps capabilities = makeCapabilities(2, 2, 4);
    std::deque<ptp_extts_event> events;
    std::uint32_t pinFunction = PTP_PF_NONE;
    bool isStamping = false;
    timespec now{1'700'000'000, 123};
    int nextDevice = 40;
    std::set<int> openSockets;
    std::set<int> openDevices;
    Journal journal;

    // The records of the last calls, byte for byte.
    ifreq lastInterfaceRequest{};
    ethtool_ts_info lastTimestampQuery{};
    ptp_pin_desc lastPin{};
    ptp_clock_caps capabilitiesAsAsked{};
    timespec timeAsAsked{};
    timex lastAdjustment{};

    static ptp_clock_caps makeCapabilities(int extTs, int perOut, int pins) {
        ptp_clock_caps made{};
        made.n_ext_ts = extTs;
        made.n_per_out = perOut;
        made.n_pins = pins;
        return made;
    }

    /// An edge on the pin at `seconds` and `nanoseconds` of the clock.
    void seeEdge(std::int64_t seconds, std::uint32_t nanoseconds, std::uint32_t channel = 0) {
        if (!isStamping) return;
        queueEvent(seconds, nanoseconds, channel);
    }
    void queueEvent(std::int64_t seconds, std::uint32_t nanoseconds, std::uint32_t channel = 0) {
        ptp_extts_event event{};
        event.t.sec = seconds;
        event.t.nsec = nanoseconds;
        event.index = channel;
        events.push_back(event);
    }

private:
    static int fail(int error) {
        errno = error;
        return -1;
    }
    static std::string hex(unsigned long number) {
        char text[24];
        snprintf(text, sizeof text, "0x%lX", number);
        return text;
    }
    static int fdOf(int clock) { return ~(clock >> 3); }

    int getTime(int clock, timespec* out) {
        journal.push_back("clock_gettime " + std::to_string(fdOf(clock)));
        timeAsAsked = *out;
        if (!openDevices.contains(fdOf(clock))) return fail(EINVAL);
        *out = now;
        return 0;
    }

    int adjust(int clock, timex* adjustment) {
        journal.push_back("clock_adjtime " + std::to_string(fdOf(clock)) + " " + hex(adjustment->modes));
        lastAdjustment = *adjustment;
        if (!openDevices.contains(fdOf(clock))) return fail(EINVAL);
        return 0;
    }

    int makeSocket(int domain, int type, int protocol) {
        journal.push_back("socket " + std::to_string(domain) + "," + std::to_string(type) + "," +
                          std::to_string(protocol));
        int fd = 100;
        while (openSockets.contains(fd)) ++fd;
        openSockets.insert(fd);
        return fd;
    }

    int openPath(const char* path, int flags) {
        journal.push_back("open " + std::string(path) + " " + std::to_string(flags));
        openDevices.insert(nextDevice);
        return nextDevice++;
    }

    int closeFd(int fd) {
        journal.push_back("close " + std::to_string(fd));
        if (openSockets.erase(fd) + openDevices.erase(fd) == 0) return fail(EBADF);
        return 0;
    }

    long readEvent(int fd, void* buffer, unsigned long count) {
        journal.push_back("read " + std::to_string(fd) + " " + std::to_string(count));
        if (!openDevices.contains(fd)) return fail(EBADF);
        if (events.empty() || count != sizeof(ptp_extts_event)) return fail(EINVAL);
        std::memcpy(buffer, &events.front(), sizeof(ptp_extts_event));
        events.pop_front();
        return sizeof(ptp_extts_event);
    }

    int selectReadable(int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
        constexpr int kBits = sizeof(unsigned long) * CHAR_BIT;
        const auto* const words = reinterpret_cast<const unsigned long*>(readable);
        std::string watched;
        for (int fd = 0; fd < nfds; ++fd) {
            if ((words[fd / kBits] >> (fd % kBits) & 1U) != 0) watched += " " + std::to_string(fd);
        }
        journal.push_back("select " + std::to_string(nfds) + " {" + watched + " }" +
                          (writable != nullptr || exceptional != nullptr ? " and others" : ""));
        *timeout = {};  // like Linux, which updates the time-out
        return events.empty() ? 0 : 1;
    }

    int control(int fd, unsigned long request, void* argument) {
        journal.push_back("ioctl " + std::to_string(fd) + " " + hex(request));
        if (request == SIOCETHTOOL || request == SIOCGIFFLAGS) return askInterface(fd, request, argument);
        if (!openDevices.contains(fd)) return fail(EBADF);
        if (request == PTP_CLOCK_GETCAPS) {
            std::memcpy(&capabilitiesAsAsked, argument, sizeof capabilitiesAsAsked);
            std::memcpy(argument, &capabilities, sizeof capabilities);
            return 0;
        }
        if (request == PTP_PIN_SETFUNC) {
            std::memcpy(&lastPin, argument, sizeof lastPin);
            journal.back() += " " + std::to_string(lastPin.func);
            pinFunction = lastPin.func;
            if (pinFunction == PTP_PF_NONE) isStamping = false;
            return 0;
        }
        if (request != PTP_EXTTS_REQUEST) return fail(ENOTTY);
        if (pinFunction != PTP_PF_EXTTS) return fail(EBUSY);
        isStamping = (static_cast<ptp_extts_request*>(argument)->flags & PTP_ENABLE_FEATURE) != 0;
        return 0;
    }

    int askInterface(int fd, unsigned long request, void* argument) {
        auto& asked = *static_cast<ifreq*>(argument);
        lastInterfaceRequest = asked;
        if (!openSockets.contains(fd)) return fail(EBADF);
        const auto found = interfaces.find(asked.ifr_name);
        if (found == interfaces.end()) return fail(ENODEV);
        if (request == SIOCGIFFLAGS) {
            asked.ifr_flags = static_cast<short>((found->second.isUp ? IFF_UP : 0) | IFF_BROADCAST | IFF_MULTICAST);
            return 0;
        }
        auto& query = *reinterpret_cast<ethtool_ts_info*>(asked.ifr_data);
        lastTimestampQuery = query;
        query.phc_index = found->second.phcIndex;
        return 0;
    }

    testsupport::OsCallGuard<int(int, timespec*)> getTimeGuard_{
        osCalls().clock_gettime, [this](int clock, timespec* out) { return getTime(clock, out); }};
    testsupport::OsCallGuard<int(int, timex*)> adjustGuard_{
        osCalls().clock_adjtime, [this](int clock, timex* adjustment) { return adjust(clock, adjustment); }};
    testsupport::OsCallGuard<int(int, int, int)> socketGuard_{
        osCalls().socket, [this](int domain, int type, int protocol) { return makeSocket(domain, type, protocol); }};
    testsupport::OsCallGuard<int(int, unsigned long, void*)> ioctlGuard_{
        osCalls().ioctl,
        [this](int fd, unsigned long request, void* argument) { return control(fd, request, argument); }};
    testsupport::OsCallGuard<int(int)> closeGuard_{osCalls().close, [this](int fd) { return closeFd(fd); }};
    testsupport::OsCallGuard<int(const char*, int)> openGuard_{
        osCalls().open, [this](const char* path, int flags) { return openPath(path, flags); }};
    testsupport::OsCallGuard<long(int, void*, unsigned long)> readGuard_{
        osCalls().read, [this](int fd, void* buffer, unsigned long count) { return readEvent(fd, buffer, count); }};
    testsupport::OsCallGuard<int(int, fd_set*, fd_set*, fd_set*, timeval*)> selectGuard_{
        osCalls().select, [this](int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
            return selectReadable(nfds, readable, writable, exceptional, timeout);
        }};
};

/// Whether two records agree in every byte.
template <typename Record>
bool isSame(const Record& one, const Record& other) {
    return std::memcmp(&one, &other, sizeof(Record)) == 0;
}

}  // namespace halvexTimekeeper
