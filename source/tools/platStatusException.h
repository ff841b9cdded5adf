// Turns a platform status into an exception.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

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

/// Throws the error that `status` holds, with the site's location and message.
[[noreturn, gnu::cold]] void raiseDriverError(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status,
                                              const DriverCallSite& site, const std::string& deviceName);

/// The same when there is an error. A positive code is a warning and passes.
inline void throwIfDriverFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status,
                                const DriverCallSite& site, const std::string& deviceName) {
    if (status.hasError()) raiseDriverError(status, site, deviceName);
}

}  // namespace halvexTimekeeper
