// Converts a platform status into an exception.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zuerr/exception.h"
#include "zuplat/platStatus.h"

namespace halvexTimekeeper {

/// Throws if the record holds an error, unless another exception is already unwinding. The error carries the record's
/// own location; a record that declares a smaller size yields its code only.
void throwIfPlatformFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status);

/// One place that checks the status of a driver call. Hosts may depend on the line, as with ErrorSite.
struct DriverCallSite {
    const char* failureText;  ///< Start of the message; the device name follows.
    const char* file;
    std::int32_t line;
};

/// The message of one site. Owns its characters and is never destroyed: devices may fail until the process exits.
/// Failure: none; allocates nothing and truncates to its capacity.
class DriverMessage {
public:
    DriverMessage(std::string_view failureText, std::string_view deviceName) noexcept {
        const std::size_t start = failureText.copy(text_, kCapacity);
        length_ = static_cast<std::uint8_t>(start + deviceName.copy(text_ + start, kCapacity - start));
    }
    std::string_view get() const noexcept { return {text_, length_}; }

private:
    static constexpr std::size_t kCapacity = 55;  // with its length and the guard of a static, 64 bytes

    char text_[kCapacity];
    std::uint8_t length_;
};

/// Throws the error in `status` with the site's location and `message`.
[[noreturn, gnu::cold]] void raiseDriverError(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status,
                                              const DriverCallSite& site, std::string_view message);

/// The same with the site's own message, which is built on first use and kept.
template <const DriverCallSite& kSite>
[[noreturn, gnu::cold, gnu::noinline]] void raiseDriverErrorAt(
    const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status, std::string_view deviceName) {
    static const DriverMessage message(kSite.failureText, deviceName);
    raiseDriverError(status, kSite, message.get());
}

/// The same if there is an error. A warning (positive code) is ignored.
template <const DriverCallSite& kSite>
void throwIfDriverFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status, std::string_view deviceName) {
    if (status.hasError()) raiseDriverErrorAt<kSite>(status, deviceName);
}

}  // namespace halvexTimekeeper
