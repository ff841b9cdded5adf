// Reads the small files in which drivers describe their interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Reads the file into `buffer`, byte for byte. Returns the number of bytes in the file, 4096 at most. Reports -52006
/// if the file cannot be opened in ten attempts, -52024 if reading fails, -52019 for more than 255 bytes or without a
/// buffer; the buffer is then unchanged.
std::size_t readInterfaceFile(const char* fileName, PathBuffer* buffer, PlatStatus* status) noexcept;

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
