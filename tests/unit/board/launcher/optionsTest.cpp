// Tests of the launcher's command line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/options.h"

#include "tests/support/test.h"

using namespace halvexboard;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

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

TEST(Options, LeaveDashesAmongTheArgumentsToTheCommand) {
    EXPECT_THAT(parseOptions({"run", "sh", "-c", "x", "--", "y"}).command, ElementsAre("sh", "-c", "x", "--", "y"));
    EXPECT_THAT(parseOptions({"run", "--", "summary", "--", "--help"}).command, ElementsAre("summary", "--", "--help"));
}

TEST(Options, ThatAreWrongAreAnsweredWithWhatWouldBeRight) {
    const auto messageOf = [](const std::vector<std::string>& words) {
        try {
            parseOptions(words);
        } catch (const UsageError& error) {
            return std::string(error.what());
        }
        return std::string("accepted");
    };
    EXPECT_THAT(messageOf({"run", "--seed", "1x", "ls"}), HasSubstr("from 0 to 18446744073709551615, not 1x"));
    EXPECT_THAT(messageOf({"run", "--time", "slow", "ls"}), AllOf(HasSubstr("virtual"), HasSubstr("real")));
    EXPECT_THAT(messageOf({"run", "--colour", "ls"}),
                HasSubstr("no option --colour; run has --scenario, --seed, --trace, "));
    EXPECT_THAT(messageOf({"run", "--trace", "", "ls"}), HasSubstr("needs a value, not ''"));
    EXPECT_THAT(messageOf({"summary", "--from=", "trace"}), HasSubstr("--from= needs a value"));
    EXPECT_THAT(messageOf({"run", "--seed"}), HasSubstr("--seed needs its N;"));
    EXPECT_THAT(messageOf({"list", "events", "keys"}), HasSubstr("one topic"));
    EXPECT_THAT(messageOf({"run"}), HasSubstr("halvexboard run [OPTION...] -- COMMAND"));
    EXPECT_THAT(messageOf({"walk"}), HasSubstr("run, attach, ps, summary or list must come first, not walk"));
    for (const std::vector<std::string>& words : {std::vector<std::string>{"run", "--seed"}, {"walk"}, {"run"}})
        EXPECT_THAT(messageOf(words), testing::Not(HasSubstr("\n"))) << "one line, without the whole usage";
}

TEST(Options, ThatMakeNoSenseAreRefused) {
    const std::vector<std::vector<std::string>> kRefused{{},
                                                         {"run", "--"},
                                                         {"run", "--", ""},
                                                         {"run", "--seed", "-1", "ls"},
                                                         {"run", "--seed"},
                                                         {"run", "--console=yes", "ls"},
                                                         {"run", "--trace", "--console", "ls"},
                                                         {"summary"},
                                                         {"summary", "a", "b"},
                                                         {"summary", "a", "--from"},
                                                         {"summary", "a", "--colour"}};
    for (const auto& words : kRefused) EXPECT_THROW(parseOptions(words), UsageError) << testing::PrintToString(words);
}

TEST(Options, AskForHelpOnOneActionOrOnAll) {
    for (const std::string action : {"run", "summary", "list"}) {
        for (const std::vector<std::string>& words : {std::vector<std::string>{action, "--help"}, {"help", action}}) {
            const Options options = parseOptions(words);
            EXPECT_EQ(options.action, Options::Action::help);
            EXPECT_EQ(options.topic, action);
        }
        EXPECT_THAT(helpText(action), HasSubstr("Usage: halvexboard " + action));
    }
    EXPECT_THAT(helpText("summary"), AllOf(HasSubstr("--until"), testing::Not(HasSubstr("--seed"))));
    EXPECT_THAT(helpText(), AllOf(HasSubstr("--until"), HasSubstr("--seed"), HasSubstr("halvexboard list")));
}

TEST(Options, OfARunCanSilenceIt) { EXPECT_TRUE(parseOptions({"run", "--quiet", "ls"}).isQuiet); }
