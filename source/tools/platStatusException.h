// Turns a platform status into an exception.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zuerr/exception.h"
#include "zuplat/platStatus.h"

namespace halvexTimekeeper {

/// Throws when the record holds an error and no other exception is already unwinding. The error carries the record's
/// own location; a record that declares a smaller size than this library knows gives its code alone.
void throwIfPlatformFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status);

/// One place that checks what a driver call reported. The line is part of the interface, as that of an ErrorSite.
struct DriverCallSite {
    const char* failureText;  ///< Begins the message; the name of the device follows it.
    const char* file;
    std::int32_t line;
};

/// The message of one site. Owns its characters and is never destroyed: devices fail until the process has exited.
/// Failure: none; it needs no memory, and what exceeds its capacity is cut.
class DriverMessage {
public:
    DriverMessage(std::string_view failureText, std::string_view deviceName) noexcept {
        length_ = failureText.copy(text_, kCapacity);
        length_ += deviceName.copy(text_ + length_, kCapacity - length_);
    }
    std::string_view get() const noexcept { return {text_, length_}; }

private:
    static constexpr std::size_t kCapacity = 64;

    char text_[kCapacity];
    std::size_t length_;
};

/// Throws the error that `status` holds, with the site's location and `message`.
[[noreturn, gnu::cold]] void raiseDriverError(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status,
                                              const DriverCallSite& site, std::string_view message);

/// The same with the message of the site, which is built once, on first use, and kept.
template <const DriverCallSite& kSite>
[[noreturn, gnu::cold, gnu::noinline]] void raiseDriverErrorAt(
    const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status, std::string_view deviceName) {
    static const DriverMessage message(kSite.failureText, deviceName);
    raiseDriverError(status, kSite, message.get());
}

/// The same when there is an error. A positive code is a warning and passes.
template <const DriverCallSite& kSite>
void throwIfDriverFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status, std::string_view deviceName) {
    if (status.hasError()) raiseDriverErrorAt<kSite>(status, deviceName);
}

}  // namespace halvexTimekeeper
