// Tests of parsing the words of a command line into commands.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/command.h"

#include <nlohmann/json.hpp>

#include "host/cli/help.h"
#include "host/cli/usageError.h"
#include "host/cli/verbTable.h"
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace halvexctl::commandTest {

std::vector<Command> read(std::vector<std::string> words, bool yes = false) {
    return readCommands(words, ReadingRules{verbs(), yes});
}

std::string refusal(std::vector<std::string> words, bool yes = false) {
    try {
        read(std::move(words), yes);
        return "accepted";
    } catch (const UsageError& error) {
        return error.what();
    }
}

/// A file removed at scope exit.
class ScratchFile {
public:
    explicit ScratchFile(const std::string& contents) : path_(testing::TempDir() + "halvexctl-command-test.json") {
        std::ofstream(path_, std::ios::binary) << contents;
    }
    ~ScratchFile() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

TEST(Verbs, HaveNamesOfTheirOwnASummaryAndSomethingToDo) {
    std::set<std::string_view> names;
    for (const Verb& verb : verbs()) {
        EXPECT_TRUE(names.insert(verb.name).second) << verb.name;
        EXPECT_FALSE(verb.summary.empty()) << verb.name;
        EXPECT_NE(verb.carryOut, nullptr) << verb.name;
        EXPECT_EQ(verb.argument.empty(), verb.read == nullptr) << verb.name;
        EXPECT_NE(verbHelpText(verb).find(verb.name), std::string::npos);
    }
}

TEST(Verbs, AreInTheSchemaWithWhatEachReturns) {
    using nlohmann::json;
    const auto path = HALVEX_SOURCE_DIR "/docs/schema/halvexctl.schema.json";
    const json definitions = json::parse(testsupport::fileContents(path))["definitions"];
    json expected = json::array();
    for (const Verb& verb : verbs()) {
        const std::string values = "#/definitions/" + std::string(verb.returns);
        EXPECT_TRUE(definitions.contains(verb.returns)) << verb.name;
        expected.push_back({{"properties", {{"verb", {{"const", verb.name}}}, {"values", {{"$ref", values}}}}}});
    }
    EXPECT_EQ(definitions["result"]["anyOf"], expected) << "wanted: " << expected.dump(1);
}

TEST(OwnOptions, TakeTheirValueBehindAnEqualsSignToo) {
    const auto options = std::get<MonitorOptions>(read({"monitor", "--count=3", "--interval=2s"})[0].argument);
    EXPECT_EQ(options.count, 3U);
    EXPECT_EQ(options.intervalNs, 2'000'000'000);
    EXPECT_EQ(std::get<ReportOptions>(read({"report", "--from", "a", "--title=x=y"})[0].argument).title, "x=y");
}

TEST(OwnOptions, RefuseAMissingAnEmptyAndASuperfluousValueAndNeverTakeAnOptionForOne) {
    EXPECT_EQ(refusal({"monitor", "--interval="}), "--interval of monitor needs its DURATION");
    EXPECT_EQ(refusal({"monitor", "--metrics", ""}), "--metrics of monitor needs its FILE");
    EXPECT_EQ(refusal({"monitor", "--metrics"}), "--metrics of monitor needs its FILE");
    EXPECT_EQ(refusal({"monitor", "--metrics", "--once"}), "--metrics of monitor needs its FILE before \"--once\"");
    EXPECT_EQ(refusal({"report", "-x"}), "report has no option \"-x\"");
    EXPECT_EQ(refusal({"report", ""}), "report needs its FILE: halvexctl help report");
    EXPECT_EQ(refusal({"record", "--interval", "5s"}),
              "record needs its FILE before \"--interval\": halvexctl help record");
    EXPECT_EQ(refusal({"monitor", "--once=yes"}), "--once of monitor takes no value");
    EXPECT_EQ(refusal({"monitor", "--once="}), "--once of monitor takes no value");
    EXPECT_EQ(refusal({"monitor", "--conut=3"}), "monitor has no option \"--conut\"; did you mean \"--count\"?");
    EXPECT_EQ(refusal({"report", "--from", "a", "--from=b"}), "--from of report is given twice");
    EXPECT_EQ(refusal({"monitor", "--once", "--count", "3"}), "--once and --count of monitor exclude each other");
}

TEST(OwnOptions, EndWithTwoDashes) {
    EXPECT_EQ(std::get<std::string>(read({"remark", "--", "--json"})[0].argument), "--json");
    EXPECT_EQ(std::get<RecordOptions>(read({"--", "record", "-x"})[0].argument).path, "-x");
    EXPECT_EQ(read({"monitor", "--once", "--", "get"}).size(), 2U);
    EXPECT_EQ(refusal({"monitor", "--", "--once"}), "unknown option \"--once\"");
}

TEST(StandardInput, IsReadByOneVerbOfALine) {
    EXPECT_EQ(refusal({"report", "p", "--from", "-"}), "accepted");
    EXPECT_EQ(refusal({"report", "p", "--from", "-", "--trace", "-"}),
              "report cannot read standard input: report reads it already");
    EXPECT_EQ(refusal({"report", "p", "--trace", "-", "run"}),
              "run cannot read standard input: report reads it already");
    EXPECT_EQ(refusal({"run", "apply-metadata", "-"}),
              "apply-metadata cannot read standard input: run reads it already");
}

TEST(Outputs, MakeNoFileThatIsNamedLikeStandardInput) {
    EXPECT_EQ(refusal({"record", "-"}), "\"-\" cannot be written to");
    EXPECT_EQ(refusal({"report", "-"}), "\"-\" cannot be written to");
    EXPECT_EQ(refusal({"monitor", "--metrics", "-"}), "\"-\" cannot be written to");
    EXPECT_EQ(refusal({"report", "--from", "-"}), "report needs its FILE: standard input gives the page no name");
}

TEST(Help, BreaksSentencesAtTheWidth) {
    EXPECT_EQ(wrapped("one two three four", "  ", 10), "  one two\n  three\n  four\n");
    EXPECT_EQ(wrapped("averylongword a", "", 5), "averylongword\na\n");
    EXPECT_EQ(wrapped("", "  ", 10), "");
}

TEST(ReadCommands, TakesTheOptionsOfMonitorUpToTheNextVerb) {
    const std::vector<Command> commands =
        read({"monitor", "--interval", "250ms", "--count", "7", "--metrics", "/m", "get", "monitor", "--once"});
    ASSERT_EQ(commands.size(), 3u);
    const auto& options = std::get<MonitorOptions>(commands[0].argument);
    EXPECT_EQ(options.intervalNs, 250'000'000);
    EXPECT_EQ(options.count, 7u);
    EXPECT_EQ(options.metricsPath, "/m");
    EXPECT_EQ(std::get<MonitorOptions>(commands[2].argument).count, 1u);
}

TEST(ReadCommands, RefusesWrongOptionsOfMonitorAndRecord) {
    EXPECT_EQ(refusal({"monitor", "--onec"}), "monitor has no option \"--onec\"; did you mean \"--once\"?");
    EXPECT_EQ(refusal({"monitor", "--count", "0"}), "\"0\" is not a count: expected a whole number above 0");
    EXPECT_EQ(refusal({"monitor", "--interval", "0"}), "the interval must be above 0");
    EXPECT_NE(refusal({"record"}).find("record needs its FILE"), std::string::npos);
    EXPECT_EQ(refusal({"record", "/r", "--intervall", "1s"}),
              "record has no option \"--intervall\"; did you mean \"--interval\"?");
    EXPECT_EQ(refusal({"record", "/r", "0s"}), "the duration must be above 0");
    EXPECT_EQ(refusal({"record", "10s"}), "record needs its FILE before a duration; ./10s is a file");
    EXPECT_EQ(refusal({"report", "/p", "--form", "/r"}), "report has no option \"--form\"; did you mean \"--from\"?");
}

TEST(ReadCommands, TakesARecordingForAWhileOrForTheRestOfTheSession) {
    const std::vector<Command> commands = read({"record", "/r", "90s", "--interval", "2s", "record", "/s", "get"});
    ASSERT_EQ(commands.size(), 3u);
    const auto& some = std::get<RecordOptions>(commands[0].argument);
    EXPECT_EQ(some.path, "/r");
    EXPECT_EQ(some.durationNs, 90'000'000'000);
    EXPECT_EQ(some.intervalNs, 2'000'000'000);
    const auto& rest = std::get<RecordOptions>(commands[1].argument);
    EXPECT_FALSE(rest.durationNs);
    EXPECT_EQ(rest.intervalNs, 1'000'000'000);
}

TEST(ReadCommands, TakesTheSourcesOfAReport) {
    const std::vector<Command> commands =
        read({"report", "/p", "--from", "/r", "--trace", "/t", "--title", "A night", "get"});
    ASSERT_EQ(commands.size(), 2u);
    const auto& options = std::get<ReportOptions>(commands[0].argument);
    EXPECT_EQ(options.pagePath, "/p");
    EXPECT_EQ(options.recordPath, "/r");
    EXPECT_EQ(options.tracePath, "/t");
    EXPECT_EQ(options.title, "A night");
    EXPECT_EQ(std::get<ReportOptions>(read({"report", "--from", "/r"})[0].argument).recordPath, "/r");
    EXPECT_EQ(read({"report", "get"}).size(), 2u) << "a verb's name is not a file";
}

TEST(ReadCommands, RefusesToExplainWhatIsNoError) {
    EXPECT_NE(refusal({"explain", "-1"}).find("there is no error \"-1\""), std::string::npos);
    EXPECT_EQ(refusal({"explain", "-52024"}), "accepted");
}

TEST(ReadCommands, TakesAChainWithItsArguments) {
    const std::vector<Command> commands = read({"info", "step", "+1.5ms", "wait", "2", "freq", "-1250", "freq", "get"});
    ASSERT_EQ(commands.size(), 6u);
    EXPECT_EQ(commands[1].verb->name, "step");
    EXPECT_EQ(std::get<std::int64_t>(commands[1].argument), 1'500'000);
    EXPECT_EQ(commands[1].argumentText, "+1.5ms");
    EXPECT_EQ(std::get<std::int64_t>(commands[2].argument), 2'000'000'000);
    EXPECT_EQ(std::get<std::int32_t>(commands[3].argument), -1250);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(commands[4].argument));
    EXPECT_EQ(commands[5].verb->name, "get");
}

TEST(ReadCommands, RefusesABackwardStepWithoutYes) {
    EXPECT_EQ(refusal({"step", "-399ns"}), "step -399ns would move the time backward; add --yes if that is meant");
    EXPECT_EQ(refusal({"step", "-399ns"}, true), "accepted");
}

TEST(ReadCommands, RefusesAStepOverOneSecondWithoutYes) {
    EXPECT_EQ(refusal({"step", "+1.000000001s"}),
              "step +1.000000001s would move the time by more than 1 s; add --yes if that is meant");
    EXPECT_EQ(refusal({"step", "1s"}), "accepted");
    EXPECT_EQ(refusal({"step", "1.000000001s"}, true), "accepted");
}

TEST(ReadCommands, SuggestsForUnknownVerbsAndOptions) {
    EXPECT_EQ(refusal({"get", "stpe"}), "unknown verb \"stpe\"; did you mean \"step\"?");
    EXPECT_EQ(refusal({"--jsno", "get"}), "unknown option \"--jsno\"; did you mean \"--json\"?");
    EXPECT_EQ(refusal({"frobnicate"}), "unknown verb \"frobnicate\"; halvexctl --help lists them");
    EXPECT_EQ(refusal({"get", "frobnicate"}),
              "\"frobnicate\" is neither a verb nor the [CLOCK] of get; halvexctl help get says more");
    EXPECT_EQ(refusal({"-5"}), "unknown verb \"-5\"; halvexctl --help lists them");
}

TEST(ReadCommands, NamesTheArgumentThatIsMissing) {
    EXPECT_EQ(refusal({"get", "step"}), "step needs its OFFSET: halvexctl help step");
    EXPECT_EQ(refusal({"wait"}), "wait needs its DURATION: halvexctl help wait");
    EXPECT_EQ(refusal({"drift"}), "drift needs its DURATION: halvexctl help drift");
    EXPECT_EQ(refusal({"remark"}), "remark needs its TEXT: halvexctl help remark");
    EXPECT_EQ(refusal({"apply-metadata"}), "apply-metadata needs its FILE: halvexctl help apply-metadata");
}

TEST(ReadCommands, RefusesADriftOverNoTime) { EXPECT_EQ(refusal({"drift", "0"}), "drift needs a duration above 0"); }

TEST(ReadCommands, TakesAnOptionalCodeForAnExpectedError) {
    const std::vector<Command> commands = read({"expect-error", "-52024", "get", "expect-error", "get"});
    ASSERT_EQ(commands.size(), 4u);
    EXPECT_EQ(std::get<std::int32_t>(commands[0].argument), -52024);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(commands[2].argument));
    EXPECT_NE(refusal({"expect-error", "5"}).find("below 0"), std::string::npos);
}

TEST(ReadCommands, TakesAQuantityAsItWasPrintedAndAsTwoWords) {
    EXPECT_EQ(std::get<std::int64_t>(read({"step", "+1.5 ms"})[0].argument), 1'500'000);
    const std::vector<Command> commands =
        read({"step", "+1.5", "ms", "wait", "2", "min", "freq", "-12", "ppm", "record", "r", "1", "h", "wait", "5"});
    ASSERT_EQ(commands.size(), 5U);
    EXPECT_EQ(commands[0].argumentText, "+1.5 ms");
    EXPECT_EQ(std::get<std::int64_t>(commands[1].argument), 120'000'000'000);
    EXPECT_EQ(std::get<std::int32_t>(commands[2].argument), -12'000);
    EXPECT_EQ(std::get<RecordOptions>(commands[3].argument).durationNs, 3'600'000'000'000);
    EXPECT_EQ(std::get<std::int64_t>(commands[4].argument), 5'000'000'000);
}

TEST(ReadCommands, TakesHelpBehindEveryVerb) {
    for (const Verb& verb : verbs()) {
        const std::vector<Command> commands = read({std::string(verb.name), "--help", "get"});
        EXPECT_EQ(commands.at(0).verb->name, "help");
        EXPECT_EQ(std::get<std::string>(commands.at(0).argument), verb.name);
        EXPECT_EQ(commands.at(1).verb->name, "get");
    }
}

TEST(ReadCommands, TakesMetadataFromTheLine) {
    EXPECT_EQ(refusal({"apply-metadata", "-", "{}"}), "- is standard input; a document in the line follows --text");
    const std::vector<Command> commands = read({"apply-metadata", "--text", "{\"a\": 1}", "get"});
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(std::get<Document>(commands[0].argument).text, "{\"a\": 1}");
    EXPECT_EQ(commands[0].argumentText, "--text {\"a\": 1}");
}

TEST(ReadCommands, TakesMetadataFromAFile) {
    const ScratchFile file("{\"b\":\n2}\n");
    const std::vector<Command> commands = read({"apply-metadata", file.path()});
    EXPECT_EQ(std::get<Document>(commands[0].argument).text, "{\"b\":\n2}\n");
    EXPECT_EQ(std::get<Document>(commands[0].argument).source, file.path());
}

TEST(ReadCommands, RefusesMetadataThatCannotBeReadOrHoldsANul) {
    EXPECT_EQ(refusal({"apply-metadata", "/nonexistent/file"}),
              "cannot read /nonexistent/file: No such file or directory");
    EXPECT_EQ(refusal({"apply-metadata", "/"}), "cannot read /: Is a directory");
    const ScratchFile file(std::string("{}\0{}", 5));
    EXPECT_NE(refusal({"apply-metadata", file.path()}).find("holds a NUL"), std::string::npos);
}

TEST(ReadCommands, TakesAVerbForHelp) {
    EXPECT_EQ(std::get<std::string>(read({"help", "step"})[0].argument), "step");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(read({"help"})[0].argument));
    EXPECT_EQ(refusal({"help", "stpe"}), "there is no help on \"stpe\"; halvexctl --help lists the verbs");
}

}  // namespace halvexctl::commandTest
