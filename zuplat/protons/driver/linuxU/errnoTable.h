// Maps errno values to codes of the platform layer.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// The code for an `errno`: 0 for 0, -52008 for one that has no closer match or exceeds 130.
std::int32_t codeFromErrno(int error) noexcept;

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
