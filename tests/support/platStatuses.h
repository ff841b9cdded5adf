// Status records of the platform layer: made in one step, and compared as text.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"
#include "zuplat/platStatus.h"

namespace testsupport {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;

/// A record that holds this code of an earlier call.
inline PlatStatus statusOf(std::int64_t code, const char* file = "unit", std::uint32_t line = 1) {
    PlatStatus status;
    setCode(&status, code, "part", file, line);
    return status;
}

/// Code, component, file and line.
inline std::string textOf(const PlatStatus& status) {
    return std::to_string(status.code) + " " + status.component + " " + status.file + " " + std::to_string(status.line);
}

}  // namespace testsupport
