// Tests of the completion scripts, run by the shells themselves.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/completion.h"

#include "host/cli/verbTable.h"
#include "host/errors/catalogue.h"
#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::completionTest {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;

std::vector<std::string> linesOf(const ProgramRun& shell) {
    std::istringstream lines(shell.output());
    std::vector<std::string> words;
    for (std::string word; std::getline(lines, word);) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

/// The output of a shell that has sourced its completion script and then runs `commands`.
std::vector<std::string> printedBy(const std::vector<std::string>& shell, const std::string& before,
                                   const std::string& commands) {
    std::vector<std::string> words = shell;
    words.push_back(before + completionFor(std::filesystem::path(shell.front()).filename().string()) + commands);
    ProgramRun run(words);
    EXPECT_EQ(run.finish(), 0) << run.errors();
    EXPECT_EQ(run.errors(), "");
    return linesOf(run);
}

/// The completions offered for the last (possibly empty) word of `line`.
std::vector<std::string> completionsOf(const std::string& line) {
    return printedBy({"/bin/bash", "--norc", "-c"}, "",
                     "COMP_WORDS=(" + line +
                         ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                         "_halvexctl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n");
}

/// The same in zsh, whose own functions print their arguments.
std::vector<std::string> completionsByZsh(const std::string& line, const std::string& prefix = "") {
    return printedBy({"/bin/zsh", "-f", "-c"},
                     "compdef() { : }\n_files() { print files }\n_message() { print text }\n"
                     "_describe() { print -l -- ${${(P)2}%%:*} }\ncompadd() { shift; print -l -- $@ }\n",
                     "words=(" + line + ")\nCURRENT=${#words}\nPREFIX='" + prefix + "'\n_halvexctl\n");
}

std::vector<std::string> completionsByFish(const std::string& line) {
    std::vector<std::string> words =
        printedBy({"/usr/bin/fish", "--no-config", "-c"}, "", "complete -C '" + line + "'\n");
    for (std::string& word : words) {
        word.erase(std::min(word.find('\t'), word.size()));
    }
    return words;
}

std::vector<std::string> namesOfVerbs() {
    std::vector<std::string> names;
    for (const Verb& verb : verbs()) {
        names.emplace_back(verb.name);
    }
    return names;
}

std::vector<std::string> namesOfOptions() {
    std::vector<std::string> names;
    for (const OptionRow& option : toolOptions()) {
        names.emplace_back(option.name);
    }
    return names;
}

std::vector<std::string> codesToExplain() {
    std::vector<std::string> codes{"all"};
    for (const ErrorEntry& entry : errorEntries()) {
        codes.push_back(std::to_string(entry.code));
    }
    return codes;
}

TEST(Completion, OffersExactlyTheVerbs) {
    EXPECT_THAT(completionsOf("halvexctl ''"), UnorderedElementsAreArray(namesOfVerbs()));
    EXPECT_THAT(completionsOf("halvexctl get help ''"), UnorderedElementsAreArray(namesOfVerbs()));
    EXPECT_THAT(completionsOf("halvexctl step ''"), IsEmpty());
}

TEST(Completion, OffersExactlyTheOptions) {
    EXPECT_THAT(completionsOf("halvexctl --"), UnorderedElementsAreArray(namesOfOptions()));
    EXPECT_THAT(completionsOf("halvexctl get --j"), ElementsAre("--json"));
}

TEST(Completion, OffersEveryCodeToExplain) {
    EXPECT_THAT(completionsOf("halvexctl explain ''"), UnorderedElementsAreArray(codesToExplain()));
}

TEST(Completion, OffersTheSameInZsh) {
    if (::access("/bin/zsh", X_OK) != 0) {
        GTEST_SKIP() << "zsh is not installed";
    }
    EXPECT_THAT(completionsByZsh("halvexctl ''"), UnorderedElementsAreArray(namesOfVerbs()));
    EXPECT_THAT(completionsByZsh("halvexctl --", "--"), UnorderedElementsAreArray(namesOfOptions()));
    EXPECT_THAT(completionsByZsh("halvexctl monitor --metrics get --", "--"), Contains("--once"));
    EXPECT_THAT(completionsByZsh("halvexctl monitor get --", "--"), Not(Contains("--once")));
    EXPECT_THAT(completionsByZsh("halvexctl explain ''"), UnorderedElementsAreArray(codesToExplain()));
    EXPECT_THAT(completionsByZsh("halvexctl step ''"), ElementsAre("text"));
    EXPECT_THAT(completionsByZsh("halvexctl report ''"), ElementsAre("files"));
}

TEST(Completion, OffersTheSameInFish) {
    if (::access("/usr/bin/fish", X_OK) != 0) {
        GTEST_SKIP() << "fish is not installed";
    }
    EXPECT_THAT(completionsByFish("halvexctl "), UnorderedElementsAreArray(namesOfVerbs()));
    EXPECT_THAT(completionsByFish("halvexctl get --"), UnorderedElementsAreArray(namesOfOptions()));
    EXPECT_THAT(completionsByFish("halvexctl monitor --"), Contains("--once"));
    EXPECT_THAT(completionsByFish("halvexctl explain "), UnorderedElementsAreArray(codesToExplain()));
    EXPECT_THAT(completionsByFish("halvexctl step "), IsEmpty());
}

TEST(Completion, IsForNoOtherShell) { EXPECT_EQ(completionFor("csh"), ""); }

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
    EXPECT_THAT(completionsOf("halvexctl report --f"), ElementsAre("--from"));
}

TEST(Completion, OffersFilesWhereAFileIsDue) {
    const ScratchDirectory directory;
    const std::string file = directory / "metadata.json";
    std::fclose(std::fopen(file.c_str(), "w"));
    EXPECT_THAT(completionsOf("halvexctl apply-metadata '" + file.substr(0, file.size() - 4) + "'"), ElementsAre(file));
}

}  // namespace halvexctl::completionTest
