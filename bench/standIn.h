// Stand-in hardware for the measurements: every device call becomes a cheap system call of the same kind.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

// The program exports replacements of the C library functions that reach hardware, and the loaded library calls these.
// Library and baseline pay the same system call and answer; the system call is real and the cheapest of its kind, so
// the ratio is the worst that any hardware can show.
namespace halvexbench {

inline constexpr int kMostPhcs = 64;
inline constexpr int kListedInterfaces = 2;

/// Creates a controller's files in a directory of its own and removes them at the end. One at a time.
class StandIn {
public:
    StandIn();
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;
};

/// Redirects the controller's fixed paths below `root`, which the caller keeps; null: no redirection.
void redirectTo(const char* root);

/// True difference to the master: the FPGA's at 0, that of PHC n at n + 1. A step of the master moves them all.
std::int64_t& differenceNs(int clock);

/// The descriptor last opened for the oscillator's offset.
int oscillatorDescriptor();

/// Reaps the children that were started and killed.
void reapChildren();

struct Counters {
    std::atomic<long> alignments{0};              ///< Successful ones, by their syslog line.
    std::atomic<std::uint64_t> statusRecords{0};  ///< Received by the FPGA.
    std::atomic<std::int64_t> lastRecordNs{0};    ///< Time of the last one, on the monotonic clock.
    std::atomic<bool> isFpgaBlocked{false};       ///< While set, status records are not accepted.
    std::atomic<bool> isFpgaWaiting{false};       ///< A record is waiting to be accepted.
    std::atomic<bool> isSyslogSilent{false};      ///< Lines are dropped unformatted.
};
Counters& counters();

std::int64_t monotonicNs();

}  // namespace halvexbench
