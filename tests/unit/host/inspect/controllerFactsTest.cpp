// Tests of the facts about the controller: who owns the clocks, with a made-up /proc.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/controllerFacts.h"
#include "tests/support/libcHooks.h"
#include "tests/support/test.h"

namespace halvexctl::controllerFactsTest {

using testing::ElementsAre;
using testing::IsEmpty;

class ClockOwners : public testing::Test {
protected:
    void add(int pid, const std::string& name, char state = 'S', int parent = 1) {
        const std::string directory = std::to_string(pid);
        proc_.writeFile(directory + "/comm", name + "\n");
        proc_.writeFile(directory + "/stat",
                        directory + " (" + name + ") " + state + " " + std::to_string(parent) + " 7 7 0");
    }

    void open(int pid, const std::string& node, const std::string& flags) {
        const std::string directory = std::to_string(pid);
        proc_.writeFile(directory + "/fdinfo/3", "pos:\t0\nflags:\t" + flags + "\nmnt_id:\t29\n");
        proc_.makeDirectory(directory + "/fd");
        std::filesystem::create_symlink(node, proc_.getRealPath() + "/" + directory + "/fd/3");
    }

    testsupport::RedirectedDirectory proc_{"/proc"};
};

TEST_F(ClockOwners, AreEveryPhc2sysThatRuns) {
    add(812, "phc2sys");
    add(900, "phc2sys", 'Z');
    add(901, "bash");
    EXPECT_THAT(clockOwners(), ElementsAre("phc2sys (812)"));
}

TEST_F(ClockOwners, AreProcessesThatHaveAPtpClockOpenForWritingNotThoseThatOnlyWatch) {
    add(77, "odd) name");
    open(77, "/dev/ptp0", "02100002");
    add(78, "halvexctl");
    open(78, "/dev/ptp1", "02100000");
    add(79, "editor");
    open(79, "/tmp/text", "0100002");
    EXPECT_THAT(clockOwners(), ElementsAre("odd) name (77)"));
}

TEST_F(ClockOwners, AreNeitherThisProcessNorItsChildren) {
    add(::getpid(), "phc2sys");
    add(812, "phc2sys", 'S', ::getpid());
    open(812, "/dev/ptp0", "02100002");
    EXPECT_THAT(clockOwners(), IsEmpty());
}

TEST(AgeOfAProcess, IsNeitherNegativeNorTakenFromAStartThatCannotBe) {
    ProcessFacts process;
    for (const std::int64_t startTicks : {INT64_MIN, INT64_C(-1), INT64_C(0), INT64_MAX}) {
        process.startTicks = startTicks;
        EXPECT_EQ(ageNs(process), 0) << startTicks;
    }
    process.startTicks = 1;
    EXPECT_GT(ageNs(process), 0);
}

}  // namespace halvexctl::controllerFactsTest
