// What the library had to do against what it did.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/comparison.h"

#include <algorithm>

#include "tests/faults/account.h"
#include "tests/faults/library.h"

namespace faults {

void tell(const Story& story, const FaultPlan& plan, World& world, Subject& subject) {
    story.before(subject, world);
    world.note("--- swept: " + story.name);
    world.arm(plan);
    story.swept(subject, world);
    world.disarm();
    story.after(subject, world);
    world.noteWhatIsLeft();
}

Expected expect(const Story& story, const FaultPlan& plan, const WorldOptions& options) {
    World world(options);
    Account account(world);
    Expected expected;
    try {
        tell(story, plan, world, account);
    } catch (const ProcessEnds&) {
        expected.endsProcess = true;
    }
    expected.journal = world.journal();
    expected.met = world.met();
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

std::string runHere(const Story& story, const FaultPlan& plan, const Expected& expected, const WorldOptions& options) {
    World world(options);
    {
        Library library(world);
        tell(story, plan, world, library);
    }
    return difference(expected.journal, world.journal());
}

}  // namespace faults
