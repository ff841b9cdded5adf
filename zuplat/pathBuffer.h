// The path of a device node, in a buffer of fixed size.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Owns its characters. Threads: thread-bound. Failure: none; writers keep the text NUL-terminated and the length in
/// step.
struct PathBuffer {
    static constexpr std::size_t kCapacity = 256;

    char text[kCapacity];
    std::size_t length = 1;  ///< Includes the NUL: an empty path has length 1.

    PathBuffer() noexcept { text[0] = '\0'; }
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
