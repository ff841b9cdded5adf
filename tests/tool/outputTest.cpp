// Tests of both programs with an unwritable standard output, on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>

#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::outputTest {

using testing::HasSubstr;

class UnwritableOutput : public testing::Test {
protected:
    int run(const std::string& redirection, std::vector<std::string> words) {
        words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$@\" " + redirection, "sh", HALVEXBOARD});
        ProgramRun program(words);
        const int exitCode = program.finish();
        errors_ = program.errors();
        return exitCode;
    }

    int runTool(const std::string& redirection, std::vector<std::string> words) {
        words.insert(words.begin(),
                     {"run", "--trace", directory_ / "trace", "--", HALVEXCTL, "--library", HALVEX_LIBRARY});
        return run(redirection, words);
    }

    ScratchDirectory directory_;
    std::string errors_;
};

TEST_F(UnwritableOutput, EndsEveryVerbOfHalvexctlWithThreeAndAReason) {
    const std::vector<std::vector<std::string>> lines{
        {"map"},    {"--json", "map"},  {"--help"},    {"--version"},         {"help", "step"},     {"info"},
        {"doctor"}, {"explain", "all"}, {"map", "-h"}, {"--describe", "zsh"}, {"monitor", "--once"}};
    for (const std::vector<std::string>& words : lines) {
        EXPECT_EQ(runTool(">/dev/full", words), 3) << words.front();
        EXPECT_THAT(errors_, HasSubstr("halvexctl: standard output cannot be written: No space left on device\n"));
        EXPECT_EQ(runTool(">&-", words), 3) << words.front();
        EXPECT_THAT(errors_, HasSubstr("halvexctl: standard output cannot be written: Bad file descriptor\n"));
    }
}

TEST_F(UnwritableOutput, EndsHelpAndSummaryOfHalvexboardWithThreeAndAReason) {
    ASSERT_EQ(runTool(">/dev/null", {"init"}), 0) << errors_;
    const std::vector<std::vector<std::string>> lines{
        {"--help"}, {"summary", directory_ / "trace"}, {"summary", "--list", directory_ / "trace"}};
    for (const std::vector<std::string>& words : lines) {
        EXPECT_EQ(run(">/dev/full", words), 3) << words.front();
        EXPECT_THAT(errors_, HasSubstr("halvexboard: standard output cannot be written: No space left on device\n"));
        EXPECT_EQ(run(">&-", words), 3) << words.front();
        EXPECT_THAT(errors_, HasSubstr("halvexboard: standard output cannot be written: Bad file descriptor\n"));
    }
}

TEST_F(UnwritableOutput, IsToldFromATraceThatCannotBeRead) {
    EXPECT_EQ(run("", {"summary", directory_ / "nothing"}), 2);
    EXPECT_THAT(errors_, HasSubstr("nothing: No such file or directory\n"));
    std::ofstream(directory_ / "empty").close();
    EXPECT_EQ(run("", {"summary", directory_ / "empty"}), 2);
    EXPECT_THAT(errors_, HasSubstr(" is empty; halvexboard run --trace FILE writes a trace\n"));
    std::ofstream(directory_ / "text") << "no trace\n";
    EXPECT_EQ(run("", {"summary", directory_ / "text"}), 2);
    EXPECT_THAT(errors_, HasSubstr("halvexboard: trace line 1: not a JSON object\n"));
    EXPECT_EQ(run("", {"summary", directory_.path()}), 2);
    EXPECT_THAT(errors_, HasSubstr(": Is a directory\n"));
}

TEST_F(UnwritableOutput, EndsAMonitorThatWouldWatchForever) {
    EXPECT_EQ(runTool(">/dev/full", {"monitor"}), 3);
    EXPECT_THAT(errors_, HasSubstr("halvexctl: standard output cannot be written: No space left on device\n"));
}

TEST_F(UnwritableOutput, DoesNotReachARecordWhenStandardOutputIsClosed) {
    EXPECT_EQ(runTool(">&-", {"record", directory_ / "record", "init", "info"}), 3);
    std::istringstream record(fileContents(directory_ / "record"));
    int lines = 0;
    for (std::string line; std::getline(record, line); ++lines) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
    EXPECT_GT(lines, 2);
}

TEST_F(UnwritableOutput, IsToldFromAClosedStandardInput) {
    EXPECT_EQ(runTool("<&-", {"run"}), 3);
    EXPECT_THAT(errors_, HasSubstr("cannot read standard input: Bad file descriptor"));
}

}  // namespace halvexctl::outputTest
