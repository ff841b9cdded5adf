// Tests of the watch over the clocks: which phc2sys it asks for, with a made-up /proc.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockWatch.h"
#include "tests/support/libcHooks.h"
#include "tests/support/test.h"

namespace halvexctl::clockWatchTest {

TEST(ClockWatch, AsksThePhc2sysSeenBeforeAloneAndAllProcessesOnceItHasGone) {
    const testsupport::RedirectedDirectory proc("/proc");
    const auto add = [&proc](const std::string& pid, const std::string& name, const std::string& state) {
        proc.writeFile(pid + "/comm", name + "\n");
        proc.writeFile(pid + "/stat", pid + " (" + name + ") " + state + " 1 7 7 0");
    };
    add("812", "phc2sys", "S");
    ClockWatch watch(LibraryErrors::countAndReset);
    EXPECT_EQ(watch.take(nullptr).childIsAlive, true);
    add("900", "phc2sys", "S");
    add("812", "bash", "S");
    EXPECT_EQ(watch.take(nullptr).childIsAlive, true) << "another one, and the first one's number is bash's";
    add("900", "phc2sys", "Z");
    const Sample sample = watch.take(nullptr);
    EXPECT_EQ(sample.childIsAlive, false);
    EXPECT_TRUE(sample.childIsDead);
}

}  // namespace halvexctl::clockWatchTest
