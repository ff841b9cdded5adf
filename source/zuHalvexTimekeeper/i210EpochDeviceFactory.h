// Finds the I210 network interfaces of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <memory>
#include <vector>

#include "source/zuHalvexTimekeeper/i210EpochDevice.h"

namespace halvexTimekeeper {

/// One device for each I210 interface whose clock can take part, in ascending byte order of the interface names;
/// possibly none. Unusable interfaces are left out with a warning in syslog. Threads: reentrant. Failure: throws
/// zuplaterr_featureUnsupported when the network interfaces cannot be listed, and whatever else a device's making
/// throws.
std::vector<std::shared_ptr<I210EpochDevice>> findUsableI210Interfaces();

}  // namespace halvexTimekeeper
