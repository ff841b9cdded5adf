// Tests of the completion for bash, by bash itself.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "host/cli/command.h"
#include "host/cli/options.h"
#include "host/errors/catalogue.h"
#include "tests/tool/programRun.h"

namespace halvexctl {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;

/// What is offered after the words of `line`, the last of which (possibly empty) is being typed.
std::vector<std::string> completionsOf(const std::string& line) {
    const std::string script = "source " HALVEX_SOURCE_DIR
                               "/host/completion/halvexctl.bash\n"
                               "COMP_WORDS=(" +
                               line +
                               ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                               "_halvexctl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    ProgramRun bash({"/bin/bash", "--norc", "-c", script});
    EXPECT_EQ(bash.finish(), 0) << bash.errors();
    EXPECT_EQ(bash.errors(), "");
    std::istringstream lines(bash.output());
    std::vector<std::string> words;
    for (std::string word; std::getline(lines, word);) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

TEST(Completion, OffersExactlyTheVerbs) {
    std::vector<std::string> names;
    for (const Verb& verb : verbs()) {
        names.emplace_back(verb.name);
    }
    EXPECT_THAT(completionsOf("halvexctl ''"), UnorderedElementsAreArray(names));
    EXPECT_THAT(completionsOf("halvexctl get help ''"), UnorderedElementsAreArray(names));
}

TEST(Completion, OffersExactlyTheOptions) {
    EXPECT_THAT(completionsOf("halvexctl --"), UnorderedElementsAreArray(optionNames().begin(), optionNames().end()));
    EXPECT_THAT(completionsOf("halvexctl get --j"), ElementsAre("--json"));
}

TEST(Completion, OffersEveryCodeToExplain) {
    std::vector<std::string> codes{"all"};
    for (const ErrorEntry& entry : errorEntries()) {
        codes.push_back(std::to_string(entry.code));
    }
    EXPECT_THAT(completionsOf("halvexctl explain ''"), UnorderedElementsAreArray(codes));
}

TEST(Completion, OffersTheOptionsOfMonitorOnlyBehindIt) {
    EXPECT_THAT(completionsOf("halvexctl init monitor --interval 1s --o"), ElementsAre("--once"));
    EXPECT_THAT(completionsOf("halvexctl monitor --metrics file --"), Contains("--count"));
    EXPECT_THAT(completionsOf("halvexctl monitor --once get --o"), IsEmpty());
    EXPECT_THAT(completionsOf("halvexctl --"), Not(Contains("--once")));
}

TEST(Completion, OffersTheOptionsOfRecordAndReportBehindThem) {
    EXPECT_THAT(completionsOf("halvexctl record file 5s --i"), ElementsAre("--interval"));
    EXPECT_THAT(completionsOf("halvexctl record file get --i"), IsEmpty());
    EXPECT_THAT(completionsOf("halvexctl report page.html --from session.jsonl --t"),
                UnorderedElementsAreArray({"--trace", "--title"}));
}

TEST(Completion, OffersFilesWhereAFileIsDue) {
    const ScratchDirectory directory;
    const std::string file = directory / "metadata.json";
    std::fclose(std::fopen(file.c_str(), "w"));
    EXPECT_THAT(completionsOf("halvexctl apply-metadata '" + file.substr(0, file.size() - 4) + "'"), ElementsAre(file));
}

}  // namespace
}  // namespace halvexctl
