// Turns a platform status into an exception.
#pragma once

#include "zuerr/exception.h"
#include "zuplat/platStatus.h"

namespace halvexTimekeeper {

/// Throws when the record holds an error and no other exception is already unwinding. The error carries the record's own
/// location; a record that declares a smaller size than this library knows gives its code alone.
void throwIfPlatformFailed(const nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus& status);

}  // namespace halvexTimekeeper
