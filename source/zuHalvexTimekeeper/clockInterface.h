// The clock interface that the timekeeper uses.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/tools/qxmTimestamp.h"

namespace halvexTimekeeper {

/// Reads and steps one clock. Owns nothing. Threads: getTime may overlap any call, the timekeeper serialises the rest.
/// Failure: every operation throws zuerr::Exception. Slot order is part of the contract.
class ClockInterface {
public:
    virtual ~ClockInterface() = default;
    virtual const std::string& getName() const = 0;      ///< Display name for log lines; lives as long as the clock.
    virtual QxmTimestamp getTime() = 0;                  ///< Now, in ns since this clock's epoch.
    virtual void adjustTime(std::int64_t offsetNs) = 0;  ///< Steps the clock; positive moves it forward.
    virtual bool isEnabled() = 0;                        ///< Whether the clock can be used now.
};

}  // namespace halvexTimekeeper
