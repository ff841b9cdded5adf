// Figures of this process's sweeps, printed as one line at the end.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace faults {

struct Figures {
    long runs = 0;
    long positions = 0;
    long processEnds = 0;
    long allocationRuns = 0;
    long cancellations = 0;
    long wrong = 0;
};

Figures& figures();

}  // namespace faults
