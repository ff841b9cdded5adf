// Reads the small files by which drivers describe their interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Reads the file into `buffer`, byte for byte. Returns the number of bytes that the file held, 4096 at most. Reports
/// -52006 when the file cannot be opened in ten attempts, -52024 when reading fails, -52019 for more than 255 bytes or
/// without a buffer; the buffer then stays as it was.
std::size_t readInterfaceFile(const char* fileName, PathBuffer* buffer, PlatStatus* status) noexcept;

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
