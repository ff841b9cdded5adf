// Behaviour that looks wrong and is required: one test each, so that no repair goes unnoticed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/comparison.h"
#include "tests/faults/library.h"
#include "tests/faults/story.h"
#include "tests/support/test.h"

namespace faults {
namespace {

constexpr Outcome kInputOutputError{EIO, std::nullopt, 0};

/// The library's journal of a life on a controller.
template <typename Life>
Journal journalOf(SimulatedController& controller, Life&& life) {
    Library library(controller);
    life(library);
    controller.noteWhatIsLeft();
    return controller.journal();
}

void liveShortly(Library& library) {
    library.initialize();
    library.finalize();
}

long countOf(const Journal& journal, const std::string& beginning) {
    return std::count_if(journal.begin(), journal.end(),
                         [&](const std::string& line) { return line.starts_with(beginning); });
}

TEST(KeptOnPurpose, ARefusedI210LeavesItsDescriptorOpen) {
    SimulatedController controller({.pinsOfFirst = 3});
    const Journal journal = journalOf(controller, liveShortly);
    EXPECT_EQ(countOf(journal, "syslog 4 *** warning: Interface enp2s0 is not usable and will not be synchronized."),
              1);
    EXPECT_EQ(journal.back(), "left: 11=/dev/ptp1 zombie 4000");
}

TEST(KeptOnPurpose, ADescriptorIsClosedTwiceAfterAFailedRequest) {
    SimulatedController controller;
    const Journal journal = journalOf(controller, [&](Library& library) {
        library.initialize();
        controller.interfaces[1].isUp = false;
        library.tick();
        controller.interfaces[1].isUp = true;
        controller.arm({5, kInputOutputError, false});  // the pin request of the returning interface
        library.tick();
        controller.disarm();
        library.finalize();
    });
    EXPECT_EQ(countOf(journal, "close 10 = -1 errno 9"), 1) << testing::PrintToString(journal);
}

TEST(KeptOnPurpose, AKilledPhc2sysStaysAZombie) {
    SimulatedController controller;
    const Journal journal = journalOf(controller, liveShortly);
    EXPECT_EQ(countOf(journal, "kill 4000 9 = 0"), 1);
    EXPECT_EQ(journal.back(), "left: zombie 4000");
}

TEST(KeptOnPurpose, AnInterruptedCallIsAnErrorAndNotTriedAgain) {
    SimulatedController controller;
    const Journal journal = journalOf(controller, [&](Library& library) {
        library.initialize();
        controller.note("interrupted");
        controller.arm({1, {EINTR, std::nullopt, 0}, false});
        library.getTime();
        controller.disarm();
        library.finalize();
    });
    const auto place = std::find(journal.begin(), journal.end(), "interrupted");
    EXPECT_TRUE(place[1].ends_with("= -1 errno 4")) << place[1];
    EXPECT_TRUE(place[2].starts_with("syslog 3 Encountered error in zuqxmtk_getTime: FAIL(-52025,")) << place[2];
    EXPECT_TRUE(place[3].starts_with("zuqxmtk_getTime code -52025 ")) << place[3];
}

TEST(KeptOnPurpose, Phc2sysInheritsTheDescriptorsOfThePtpClocksAndNoneOfTheDrivers) {
    SimulatedController controller;
    const Journal journal = journalOf(controller, liveShortly);
    EXPECT_EQ(countOf(journal, "open /dev/ptp0 2 = 10"), 1);  // O_RDWR only
    EXPECT_EQ(countOf(journal, "open /dev/ptp1 2 = 11"), 1);
    EXPECT_EQ(countOf(journal, "open /dev/zu/fpga0 524290 = 12"), 1);  // with O_CLOEXEC
    EXPECT_EQ(countOf(journal, "open /dev/zu/ferrox0 524290 = 13"), 1);
}

}  // namespace
}  // namespace faults
