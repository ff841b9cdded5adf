// The stories of the sweeps: a part without faults, the part with the fault, and the host's actions afterwards.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"
#include "tests/faults/subject.h"

namespace faults {

struct Story {
    std::string name;
    std::function<void(Subject&, SimulatedController&)> before;
    std::function<void(Subject&, SimulatedController&)> swept;
    std::function<void(Subject&, SimulatedController&)> after;
};

const Story& storyNamed(const std::string& name);
const std::vector<Story>& allStories();

}  // namespace faults
