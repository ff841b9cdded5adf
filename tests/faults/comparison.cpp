// Compares required with actual behaviour of the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/comparison.h"

#include "tests/faults/account.h"
#include "tests/faults/library.h"

namespace faults {

void tell(const Story& story, const FaultPlan& plan, SimulatedController& controller, Subject& subject) {
    story.before(subject, controller);
    controller.note("--- swept: " + story.name);
    controller.arm(plan);
    story.swept(subject, controller);
    controller.disarm();
    story.after(subject, controller);
    controller.noteWhatIsLeft();
}

Expected expect(const Story& story, const FaultPlan& plan, const ControllerOptions& options) {
    SimulatedController controller(options);
    Account account(controller);
    Expected expected;
    try {
        tell(story, plan, controller, account);
    } catch (const ProcessEnds&) {
        expected.endsProcess = true;
    }
    expected.journal = controller.journal();
    expected.met = controller.met();
    return expected;
}

std::string difference(const Journal& expected, const Journal& seen) {
    const auto [e, s] = std::mismatch(expected.begin(), expected.end(), seen.begin(), seen.end());
    if (e == expected.end() && s == seen.end()) return "";
    std::string text;
    const auto from = s - std::min<std::ptrdiff_t>(6, s - seen.begin());
    for (auto line = from; line != s; ++line) text += "    " + *line + '\n';
    text += "  expected: " + (e != expected.end() ? *e : "(the end)") + '\n';
    text += "  seen:     " + (s != seen.end() ? *s : "(the end)") + '\n';
    return text;
}

std::string runHere(const Story& story, const FaultPlan& plan, const Expected& expected,
                    const ControllerOptions& options) {
    SimulatedController controller(options);
    {
        Library library(controller);
        tell(story, plan, controller, library);
    }
    return difference(expected.journal, controller.journal());
}

}  // namespace faults
