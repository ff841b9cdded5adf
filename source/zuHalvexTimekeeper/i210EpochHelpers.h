// System calls on a PTP hardware clock or its network interface; failures become exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <linux/ptp_clock.h>
#include <net/if.h>
#include <sys/time.h>
#include <sys/timex.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "source/tools/qxmTimestamp.h"

// All go through the table of operating-system calls and keep no state. Threads: reentrant; one thread per descriptor.
// Failure: each throws zuplaterr_communicationsFault unless stated otherwise, with the caller's context before the
// system's reason; an empty entry of the table throws std::bad_function_call.
namespace halvexTimekeeper::i210EpochHelpers {

/// Error context, joined only on failure. Borrows its texts for one call.
struct Context {
    constexpr Context(std::string_view first, std::string_view second, std::string_view third) noexcept
        : before(first), subject(second), after(third) {}
    /// From one text: a std::string, a view or a literal.
    template <typename Text>
    requires std::is_convertible_v<const Text&, std::string_view>
    constexpr Context(const Text& text) noexcept : before(text) {}

    std::string_view before;
    std::string_view subject;
    std::string_view after;
};

/// The dynamic clock id of an open clock device.
constexpr clockid_t fdToClockId(std::int32_t fd) noexcept {
    constexpr std::uint32_t kClockFd = 3;
    return static_cast<clockid_t>((~static_cast<std::uint32_t>(fd) << 3U) | kClockFd);
}

/// A request for `interfaceName`, truncated to the kernel's 15 characters.
ifreq makeInterfaceRequest(std::string_view interfaceName) noexcept;

std::int32_t openSocket(const Context& context);

/// Issues one request; returns its result. A failure closes `fd`, whichever it is, before it throws.
std::int32_t ptpIoctl(std::int32_t fd, unsigned long request, void* argument, const Context& context);

/// Adjusts the clock behind `fd`; returns the clock state.
std::int32_t adjustPhc(std::int32_t fd, timex& adjustment, const Context& context);

QxmTimestamp getPhcTime(std::int32_t fd, const Context& context);

/// Waits until `fd` is readable, without reading; returns false after `timeout`. Works for descriptors of any size.
bool isEventReady(std::int32_t fd, std::string_view context, timeval timeout);

/// The same, but throws zuplaterr_operationTimedOut after `timeout`.
void waitForEvent(std::int32_t fd, std::string_view context, timeval timeout);

/// Reads one external time stamp of any channel, in ns of the clock's own time.
std::int64_t readExtTsEvent(std::int32_t fd, const Context& context);

std::int32_t openPtpDevice(const std::string& path);

/// The PHC index of `interfaceName`; zuplaterr_featureUnsupported if it has none.
std::int32_t getPhcIndex(const std::string& interfaceName);

}  // namespace halvexTimekeeper::i210EpochHelpers
