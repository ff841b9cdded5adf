// Detects changes between two samples of the clocks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <vector>

#include "host/clocks/clockSample.h"

namespace halvexctl {

/// A change worth reporting.
struct SampleEvent {
    std::string event;    ///< "link-down", "clock-away", "phc2sys-gone" ...
    std::string subject;  ///< The clock, or empty.
    bool isGood = false;  ///< Whether it is a change for the better.
    std::string text;     ///< A sentence for people.
};

/// The changes since `before`; for a first sample, the existing problems.
std::vector<SampleEvent> eventsBetween(const Sample* before, const Sample& now);

}  // namespace halvexctl
