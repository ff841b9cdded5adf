// The hardware of the measurements: every device call becomes a cheap system call of the same kind, answered at once.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

// The program defines and exports the functions of the C library that reach hardware, so the library that it loads
// calls these. What is measured and what it is measured against pay the same system call and the same answer; the
// system call is real, and the cheapest of its kind, so that the ratio is the worst that any hardware can show.
namespace halvexbench {

inline constexpr int kMostPhcs = 64;
inline constexpr int kListedInterfaces = 2;

/// What a clock loses with every step, and how that varies.
struct StepLoss {
    std::int64_t constantNs = 0;
    std::int64_t jitterNs = 0;
};

/// Puts the files of a controller under a directory of its own; they go with the object. One at a time.
class StandIn {
public:
    StandIn();
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;
};

/// The true differences to the master: the FPGA's at 0, that of PHC n at n + 1. A step of the master moves them all.
std::int64_t& differenceNs(int clock);

/// The loss of one step, drawn from one stream that `seedLosses` begins anew.
std::int64_t drawLossNs();
void seedLosses(std::uint64_t seed, StepLoss loss);

/// The descriptor that was last given out for the oscillator's offset.
int oscillatorDescriptor();

/// Collects the children that were started and have been killed.
void reapChildren();

struct Counters {
    std::atomic<long> alignments{0};              ///< Successful ones, by their syslog line.
    std::atomic<long> iterations{0};              ///< Of the last alignment.
    std::atomic<std::uint64_t> statusRecords{0};  ///< That the FPGA has received.
    std::atomic<std::int64_t> lastRecordNs{0};    ///< When it received the last, on the monotonic clock.
    std::atomic<bool> isFpgaBlocked{false};       ///< While set, a status record is not taken.
    std::atomic<bool> isFpgaWaiting{false};       ///< A record is waiting to be taken.
    std::atomic<bool> isSyslogSilent{false};      ///< Lines are thrown away unformatted.
};
Counters& counters();

std::int64_t monotonicNs();

}  // namespace halvexbench
