// The timekeeper interface that the exported functions and the monitoring thread use.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/tools/qxmTimestamp.h"

namespace halvexTimekeeper {

/// Keeps the board's time. Owns its components. Threads: every operation may be called from any thread. Failure: throws
/// zuerr::Exception or a standard exception. Slot order is part of the contract.
class TimekeeperInterface {
public:
    virtual ~TimekeeperInterface() = default;
    virtual const std::string& getName() const = 0;        ///< Lives as long as the timekeeper.
    virtual QxmTimestamp getTime() = 0;                    ///< The master's time, in ns since its epoch.
    virtual void snapTime(std::int64_t offsetNs) = 0;      ///< Steps the time; truncated to a multiple of 200 ns.
    virtual std::int32_t getMaxCorrectionPerSecond() = 0;  ///< In ppb.
    virtual std::int32_t getMinCorrectionPerSecond() = 0;  ///< In ppb.
    virtual std::int32_t getCorrectionPerSecond() = 0;     ///< In ppb, read back from the oscillator.
    virtual void setCorrectionPerSecond(std::int32_t correctionPpb) = 0;  ///< Positive makes the clocks run faster.
    virtual bool isSeeded() const = 0;                                    ///< True once construction has finished.
    virtual void applyMetaData(const std::string& metadata) = 0;  ///< Stores the text for the next service pass.
    virtual void serviceEpochDevices() = 0;  ///< One pass over the slaves; called by the monitoring thread only.
};

}  // namespace halvexTimekeeper
