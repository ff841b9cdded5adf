// What the library had to do against what it did.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/faults/simulatedController.h"
#include "tests/faults/story.h"
#include "tests/faults/subject.h"

namespace faults {

using Journal = std::vector<std::string>;

/// The result of a run: its journal up to its end, or up to the end of the process.
struct Expected {
    Journal journal{};
    bool endsProcess = false;
    std::optional<SimulatedController::Met> met{};
};

/// Plays the whole story: before, swept under the plan, after, and what is left.
void tell(const Story& story, const FaultPlan& plan, SimulatedController& controller, Subject& subject);

Expected expect(const Story& story, const FaultPlan& plan, const ControllerOptions& options = {});

/// Where two journals part, with what led there; empty when they do not.
std::string difference(const Journal& expected, const Journal& seen);

/// The library through the story in this process, and where it differs.
std::string runHere(const Story& story, const FaultPlan& plan, const Expected& expected,
                    const ControllerOptions& options = {});

}  // namespace faults
