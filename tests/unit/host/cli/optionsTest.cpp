// Tests of the options of the command line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/options.h"

#include "host/cli/completion.h"
#include "host/cli/help.h"
#include "host/cli/manual.h"
#include "host/cli/verbTable.h"
#include "tests/support/test.h"

namespace halvexctl::optionsTest {

ReadOptions read(std::vector<const char*> arguments) { return readOptions(arguments); }

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

TEST(ReadOptions, RefusesAMissingAnEmptyARepeatedAndASuperfluousValueAndNeverTakesAnOptionForOne) {
    const auto refusal = [](std::vector<const char*> arguments) {
        const ReadOptions line = read(std::move(arguments));
        EXPECT_TRUE(line.isUsageError && line.isOver);
        return line.text;
    };
    EXPECT_EQ(refusal({"get", "--library"}), "--library needs its FILE");
    EXPECT_EQ(refusal({"get", "--library", ""}), "--library needs its FILE");
    EXPECT_EQ(refusal({"--library=", "get"}), "--library needs its FILE");
    EXPECT_EQ(refusal({"-l", "--json", "get"}), "--library needs its FILE before \"--json\"");
    EXPECT_EQ(refusal({"-l/a", "-l=/b", "get"}), "--library is given twice");
    EXPECT_EQ(refusal({"--json=yes", "get"}), "--json takes no value");
}

TEST(ReadOptions, TakesLettersTogetherAndTheValueOfTheLast) {
    const ReadOptions line = read({"-ejl/l.so", "get", "-x", "-y5"});
    EXPECT_TRUE(line.options.echo && line.options.json && !line.options.yes);
    EXPECT_EQ(line.options.library, "/l.so");
    EXPECT_EQ(line.options.words, (Words{"get", "-x", "-y5"})) << "unknown ones are left to be complained about";
}

TEST(ReadOptions, LeavesWhatFollowsTwoDashesToTheVerbs) {
    const ReadOptions line = read({"remark", "--", "--json", "--help"});
    EXPECT_FALSE(line.isOver || line.options.json);
    EXPECT_EQ(line.options.words, (Words{"remark", "--", "--json", "--help"}));
}

TEST(ReadOptions, KnowsThatJsonIsWantedAlsoWhenTheLineIsWrong) {
    EXPECT_TRUE(read({"--library", "-j"}).options.json);
    EXPECT_FALSE(read({"--library", "--", "-j"}).options.json);
}

TEST(ReadOptions, ShowsHelpWithEveryVerbAndOption) {
    const ReadOptions line = read({"--help"});
    EXPECT_TRUE(line.isOver);
    EXPECT_FALSE(line.isUsageError);
    for (const OptionRow& option : toolOptions()) {
        EXPECT_NE(line.text.find(option.name), std::string::npos) << option.name;
    }
    EXPECT_NE(line.text.find("step OFFSET"), std::string::npos);
    EXPECT_NE(line.text.find("Exit status"), std::string::npos);
}

TEST(ReadOptions, ShowsTheHelpOfTheVerbBeforeTheWish) {
    for (const Verb& verb : verbs()) {
        const ReadOptions line = read({verb.name.data(), "--help"});
        EXPECT_TRUE(line.isOver);
        EXPECT_EQ(line.text, verbHelpText(verb));
        EXPECT_NE(line.text.find(verb.summary), std::string::npos);
    }
    EXPECT_EQ(read({"step", "+1ms", "get", "-h", "freq"}).text, verbHelpText(*findVerb(verbs(), "get")));
}

TEST(ReadOptions, TakesEveryOptionOfTheTableByItsNameAndLetter) {
    for (const OptionRow& option : toolOptions()) {
        const std::string letter = option.letter == 0 ? std::string(option.name) : std::string{'-', option.letter};
        for (const std::string& name : {std::string(option.name), letter}) {
            const std::string value = option.name == "--describe" ? "bash" : "get";
            const ReadOptions line =
                option.argument.empty() ? read({name.c_str(), "info"}) : read({name.c_str(), value.c_str(), "info"});
            EXPECT_FALSE(line.isUsageError) << name << ": " << line.text;
            EXPECT_TRUE(line.isOver || line.options.words == Words{"info"}) << name << " was left to the verbs";
        }
    }
}

TEST(ReadOptions, DescribesTheCommandLineForShellsAndTheManual) {
    EXPECT_EQ(read({"--describe", "bash"}).text, completionFor("bash"));
    EXPECT_EQ(read({"--describe", "mdoc"}).text, manualLists());
    EXPECT_FALSE(read({"--describe", "fish"}).isUsageError);
    EXPECT_EQ(read({"--describe", "csh"}).text, "--describe must be bash, zsh, fish or mdoc");
}

TEST(ReadOptions, ShowsTheVersionOfTheProject) {
    EXPECT_EQ(read({"--version"}).text, "halvexctl " HALVEX_VERSION "\n");
}

}  // namespace halvexctl::optionsTest
