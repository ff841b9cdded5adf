// The signed difference of two times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "source/tools/qxmTimestamp.h"

namespace halvexTimekeeper {

/// `time` - `reference` in ns. Throws zuplaterr_osFault if the difference does not fit 64 signed bits.
std::int64_t timeDifferenceNs(QxmTimestamp time, QxmTimestamp reference);

}  // namespace halvexTimekeeper
