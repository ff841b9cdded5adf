// Compares required with actual behaviour of the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"
#include "tests/faults/story.h"
#include "tests/faults/subject.h"

namespace faults {

using Journal = std::vector<std::string>;

/// The outcome of a run: its journal to the end, or to the end of the process.
struct Expected {
    Journal journal{};
    bool endsProcess = false;
    std::optional<SimulatedController::Met> met{};
};

/// Plays the whole story: the part before, the swept part under the plan, the part after, and records what is left.
void tell(const Story& story, const FaultPlan& plan, SimulatedController& controller, Subject& subject);

Expected expect(const Story& story, const FaultPlan& plan, const ControllerOptions& options = {});

/// Where two journals differ, with the lines before; empty if equal.
std::string difference(const Journal& expected, const Journal& seen);

/// Plays the story with the library in this process; returns where it differs.
std::string runHere(const Story& story, const FaultPlan& plan, const Expected& expected,
                    const ControllerOptions& options = {});

}  // namespace faults
