// Aligns the clocks of slave epoch devices to the epoch master.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"

namespace halvexTimekeeper {

using EpochDevices = std::vector<std::shared_ptr<EpochDeviceInterface>>;

/// One alignment: the master emits an epoch, every slave captures it, each slave more than 100 ns off is stepped, and
/// so on until all agree. Owns nothing: master and slaves must outlive it. Threads: thread-bound; no other thread may
/// use the slaves meanwhile. Failure: run throws what a device threw, zuplaterr_osFault for a difference beyond 64
/// bits, zuplaterr_communicationsFault after 2000 iterations.
class EpochAlignment {
public:
    EpochAlignment(EpochDeviceInterface& master, const EpochDevices& slaves) noexcept
        : master_(master), slaves_(slaves) {}

    /// Returns when every slave agrees or is disabled. Clears the flag of every finished slave except those disabled
    /// before the epoch.
    void run();

private:
    void runIteration();
    void armSlaves();
    void readSlaves(QxmTimestamp masterTime);
    void alignSlave(std::size_t position, QxmTimestamp masterTime);
    bool forgiveCurrentError();
    [[noreturn]] void giveUp() const;

    bool isDone(std::size_t position) const noexcept;
    void markDone(std::size_t position) noexcept;
    bool areAllDone() const noexcept;

    EpochDeviceInterface& master_;
    const EpochDevices& slaves_;
    std::uint64_t done_ = 0;                   ///< Bit i: the slave at position i is done.
    std::int32_t iterations_ = 0;              ///< Completed so far.
    std::int32_t retries_ = 0;                 ///< Time-outs tolerated so far, over all slaves.
    EpochDeviceInterface* handled_ = nullptr;  ///< Device named in error log lines.
};

}  // namespace halvexTimekeeper
