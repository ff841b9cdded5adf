// Finds the I210 network interfaces of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <memory>
#include <vector>

#include "source/zuHalvexTimekeeper/i210EpochDevice.h"

namespace halvexTimekeeper {

/// Returns one device per I210 interface whose clock can take part, in byte order of the interface names; possibly
/// none. Unusable interfaces are skipped with a warning in syslog. Threads: reentrant. Failure: throws
/// zuplaterr_featureUnsupported if the network interfaces cannot be listed, and other errors of a device's constructor.
std::vector<std::shared_ptr<I210EpochDevice>> findUsableI210Interfaces();

}  // namespace halvexTimekeeper
