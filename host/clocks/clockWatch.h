// Samples all clocks: the PTP clocks that the library uses, the system clock, and the master through the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/clocks/clockSample.h"

namespace halvexctl {

class HostCalls;

struct Phc2Sys {
    std::optional<bool> isAlive{};  ///< Empty: unknown.
    bool hasEnded = false;          ///< One has exited and is not reaped.
    std::int64_t ageNs = 0;         ///< Of the one that lives, the youngest; 0: unknown.
    std::int32_t pid = 0;           ///< Of the same; 0: it is known as a child of this process only.
};

/// How to handle an error that the library reports while the master is measured.
enum class LibraryErrors {
    countAndReset,  ///< Like a host.
    handOn          ///< The next verb that calls the library fails with it, as without the measurement.
};

/// Threads: thread-bound. Failure: CallFailure if the status already holds an error (counting only); anything else that
/// cannot be measured is marked in the sample.
class ClockWatch {
public:
    explicit ClockWatch(LibraryErrors errors);

    /// Measures the master through an initialised library; null: without the master. Initialises nothing.
    Sample take(HostCalls* library);

private:
    void lookForClocks();
    void judgeChild(bool libraryIsUp, Sample& sample);
    ClockSample master(HostCalls& library);
    CrossTime masterHandingOn(HostCalls& library);

    LibraryErrors errors_;
    /// A clock that the library uses, or used in an earlier sample.
    struct KnownClock {
        std::string interface, node;
        std::string whyGone;  ///< Empty while it is present.
    };
    std::vector<KnownClock> clocks_;  ///< Sorted by interface.
    Phc2Sys child_;
    bool childWasAlive_ = false;
    bool libraryWasUp_ = false;
    std::uint64_t errorCount_ = 0;
    std::string lastError_;
};

}  // namespace halvexctl
