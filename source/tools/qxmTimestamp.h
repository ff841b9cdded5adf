// The plug-in's time type.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexTimekeeper {

/// Nanoseconds since the epoch of the clock that was read. Offsets added to it are std::int64_t nanoseconds.
using QxmTimestamp = std::uint64_t;

}  // namespace halvexTimekeeper
