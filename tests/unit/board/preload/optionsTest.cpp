// Tests of the launcher's command line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace halvexboard;
using testing::ElementsAre;

TEST(Options, AreTakenUpToTheCommand) {
    const Options options = parseOptions(
        {"run", "--seed=18446744073709551615", "--scenario", "x.toml", "--console", "--", "ls", "--seed", "3"});
    EXPECT_EQ(options.seed, 18446744073709551615U);
    EXPECT_EQ(options.scenario, "x.toml");
    EXPECT_TRUE(options.console);
    EXPECT_FALSE(options.realTime);
    EXPECT_THAT(options.command, ElementsAre("ls", "--seed", "3"));
}

TEST(Options, EndAtTheFirstPlainWordToo) {
    EXPECT_THAT(parseOptions({"run", "--time", "real", "ls", "-l", "a=b"}).command, ElementsAre("ls", "-l", "a=b"));
}

TEST(Options, OfASummaryNameItsStretch) {
    const Options options = parseOptions({"summary", "--list", "--from=a b", "--until", "c", "trace"});
    EXPECT_EQ(options.summaryOf, "trace");
    EXPECT_EQ(options.from, "a b");
    EXPECT_EQ(options.until, "c");
    EXPECT_TRUE(options.isListed);
}

TEST(Options, ThatMakeNoSenseAreRefused) {
    EXPECT_THROW(parseOptions({}), UsageError);
    EXPECT_THROW(parseOptions({"run"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--seed", "-1", "ls"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--seed", "1x", "ls"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--seed"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--time", "slow", "ls"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--console=yes", "ls"}), UsageError);
    EXPECT_THROW(parseOptions({"run", "--colour", "ls"}), UsageError);
    EXPECT_THROW(parseOptions({"summary"}), UsageError);
    EXPECT_THROW(parseOptions({"summary", "a", "b"}), UsageError);
    EXPECT_THROW(parseOptions({"summary", "a", "--from"}), UsageError);
    EXPECT_THROW(parseOptions({"summary", "a", "--colour"}), UsageError);
}
