// Tests of the options of the command line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/options.h"

#include <gtest/gtest.h>

#include "host/cli/command.h"

namespace halvexctl {
namespace {

ReadOptions read(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "halvexctl");
    return readOptions(static_cast<int>(arguments.size()), arguments.data());
}

using Words = std::vector<std::string>;

TEST(ReadOptions, FindsOptionsBeforeBetweenAndAfterTheVerbs) {
    const ReadOptions line = read({"--echo", "get", "--json", "step", "-399ns", "--yes", "--library", "/l.so"});
    EXPECT_FALSE(line.isOver);
    EXPECT_TRUE(line.options.echo);
    EXPECT_TRUE(line.options.json);
    EXPECT_TRUE(line.options.yes);
    EXPECT_EQ(line.options.library, "/l.so");
    EXPECT_EQ(line.options.words, (Words{"get", "step", "-399ns"}));
}

TEST(ReadOptions, LeavesNegativeNumbersDashesAndBracketsToTheVerbs) {
    EXPECT_EQ(read({"freq", "-1250", "apply-metadata", "-", "[1,2]", "freq", "-1.5ppm"}).options.words,
              (Words{"freq", "-1250", "apply-metadata", "-", "[1,2]", "freq", "-1.5ppm"}));
}

TEST(ReadOptions, LeavesUnknownOptionsToBeComplainedAbout) {
    EXPECT_EQ(read({"--jsno", "get"}).options.words, (Words{"--jsno", "get"}));
}

TEST(ReadOptions, IsWrongWithoutAVerb) {
    const ReadOptions line = read({"--json"});
    EXPECT_TRUE(line.isUsageError);
    EXPECT_EQ(line.text, "no verb was given; halvexctl --help lists them");
}

TEST(ReadOptions, IsWrongWhenAnOptionLacksItsValue) {
    const ReadOptions line = read({"get", "--library"});
    EXPECT_TRUE(line.isUsageError);
    EXPECT_NE(line.text.find("--library"), std::string::npos);
}

TEST(ReadOptions, ShowsHelpWithEveryVerbAndOption) {
    const ReadOptions line = read({"--help"});
    EXPECT_TRUE(line.isOver);
    EXPECT_FALSE(line.isUsageError);
    for (const std::string_view option : optionNames()) {
        EXPECT_NE(line.text.find(option), std::string::npos) << option;
    }
    EXPECT_NE(line.text.find("step OFFSET"), std::string::npos);
    EXPECT_NE(line.text.find("Exit status"), std::string::npos);
}

TEST(ReadOptions, ShowsTheHelpOfTheVerbBeforeTheWish) {
    for (const Verb& verb : verbs()) {
        const ReadOptions line = read({verb.name.data(), "--help"});
        EXPECT_TRUE(line.isOver);
        EXPECT_EQ(line.text, verbHelpText(verb.name));
        EXPECT_NE(line.text.find(verb.summary), std::string::npos);
    }
    EXPECT_EQ(read({"step", "+1ms", "get", "-h", "freq"}).text, verbHelpText("get"));
}

TEST(ReadOptions, ShowsItsVersion) {
    const ReadOptions line = read({"--version"});
    EXPECT_TRUE(line.isOver);
    EXPECT_EQ(line.text.rfind("halvexctl ", 0), 0u);
}

}  // namespace
}  // namespace halvexctl
