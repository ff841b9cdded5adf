// Takes samples of every clock: the PTP clocks that the library takes, the system clock, and the master by the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <vector>

#include "host/clocks/clockSample.h"

namespace halvexctl {

class HostCalls;

/// What becomes of an error that the library reports while the master is measured.
enum class LibraryErrors {
    countAndReset,  ///< As a host would do it.
    handOn          ///< The next verb that calls fails with it, as if nothing had been measured.
};

/// Threads: thread-bound. Failure: CallFailure while the status of the calls holds an error from before (counting
/// only); whatever else cannot be measured says so in the sample.
class ClockWatch {
public:
    explicit ClockWatch(LibraryErrors errors);

    /// The master is measured by the calls of an initialised library; null: there is none, and nothing is initialised.
    Sample take(HostCalls* library);

private:
    void lookForClocks();
    void judgeChild(bool libraryIsUp, Sample& sample);
    ClockSample master(HostCalls& library);
    CrossTime masterHandingOn(HostCalls& library);

    LibraryErrors errors_;
    /// One that the library takes, or took in an earlier sample.
    struct KnownClock {
        std::string interface, node;
        std::string whyGone;  ///< Empty while it is there.
    };
    std::vector<KnownClock> clocks_;  ///< By interface.
    bool childWasAlive_ = false;
    bool libraryWasUp_ = false;
    std::uint64_t errorCount_ = 0;
    std::string lastError_;
};

}  // namespace halvexctl
