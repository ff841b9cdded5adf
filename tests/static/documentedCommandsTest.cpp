// Every command in a document is run by a test: here, by another one, or in continuous integration.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <regex>

#include "tests/support/files.h"
#include "tests/support/test.h"

namespace documentedCommandsTest {

namespace fs = std::filesystem;
using testsupport::fileContents;
const fs::path kRoot = HALVEX_SOURCE_DIR;
constexpr const char* kList = "tests/static/documentedCommands.txt";

std::string trimmed(const std::string& text) {
    const auto begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

struct Command {
    fs::path document;  ///< Relative to the root.
    std::string text;
    bool isInShellBlock = false;  ///< Or in a manual page's example; every line is a command.
};

/// The project's file that a command runs, if any.
bool isProjectsProgram(const std::string& word) {
    if (word == "./dev" || word.starts_with("build/bin/")) return true;
    if (word.find('/') == std::string::npos) return false;
    const fs::path file = kRoot / word;
    return fs::is_regular_file(file) && access(file.c_str(), X_OK) == 0;
}

bool isKnownProgram(const std::string& word) {
    static const std::set<std::string> kPrograms{
        "halvexctl",       "halvexboard", "cc",         "c++",     "gcc",  "g++",      "cmake",      "ctest",
        "ninja",           "make",        "apt",        "apt-get", "dpkg", "dpkg-deb", "pkg-config", "systemctl",
        "systemd-analyze", "udevadm",     "journalctl", "source",  "sudo", "strace",   "gdb",        "perf",
        "valgrind",        "git",         "phc_ctl",    "curl",    "ls",   "cat",      "echo",       "abidiff",
        "mandoc",          "lintian",     "python3"};
    return kPrograms.contains(word);
}

/// Whether a text is a command: a program of the project, or one of the machine with arguments.
bool isCommand(const std::string& text) {
    const std::string first = text.substr(0, text.find(' '));
    return isProjectsProgram(first) || (isKnownProgram(first) && first != text);
}

std::string withoutRemark(const std::string& line) { return trimmed(line.substr(0, line.find("  # "))); }

/// Collects shell blocks line by line, and commands in other blocks and in code within sentences.
void collectFromMarkdown(const fs::path& document, std::vector<Command>& found) {
    static const std::regex kGoesOn(R"(\\\n\s*)");
    static const std::regex kSpan("`([^`\n]+)`");
    std::string block;  // kind of the current block, or empty
    bool isInside = false;
    for (const std::string& line : linesOf(std::regex_replace(fileContents(kRoot / document), kGoesOn, " "))) {
        if (line.starts_with("```")) {
            isInside = !isInside;
            block = line.substr(3);
        } else if (isInside) {
            const std::string text = withoutRemark(line);
            if (block == "sh" && !text.empty()) found.push_back({document, text, true});
        } else if (line.starts_with("    ")) {
            if (isCommand(trimmed(line))) found.push_back({document, withoutRemark(line)});
        } else {
            for (std::sregex_iterator match(line.begin(), line.end(), kSpan), end; match != end; ++match) {
                if (isCommand((*match)[1])) found.push_back({document, (*match)[1]});
            }
        }
    }
}

void collectFromManual(const fs::path& document, std::vector<Command>& found) {
    for (const std::string& line : linesOf(fileContents(kRoot / document))) {
        if (!line.starts_with(".Dl $ ")) continue;
        found.push_back({document, std::regex_replace(line.substr(6), std::regex(R"(\\-)"), "-"), true});
    }
}

std::vector<Command> documentedCommands() {
    std::vector<Command> found;
    std::set<fs::path> files;
    for (const auto& entry : fs::directory_iterator(kRoot)) files.insert(entry.path());
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "docs")) files.insert(entry.path());
    for (const fs::path& file : files) {
        const fs::path document = fs::relative(file, kRoot);
        if (file.extension() == ".md") collectFromMarkdown(document, found);
        if (document.parent_path() == "docs/man") collectFromManual(document, found);
    }
    return found;
}

/// The list's entry of one command.
struct Listed {
    std::string how;  ///< "as" or "by"
    std::string what;
};

std::map<std::string, Listed> readList() {
    std::map<std::string, Listed> list;
    for (const std::string& line : linesOf(fileContents(kRoot / kList))) {
        if (line.empty() || line.starts_with("#")) continue;
        const auto first = line.find(" | "), second = line.find(" | ", first + 3);
        EXPECT_NE(second, std::string::npos) << kList << ": " << line;
        if (second == std::string::npos) continue;
        list[line.substr(0, first)] = {line.substr(first + 3, second - first - 3), line.substr(second + 3)};
    }
    return list;
}

/// Documents whose shell blocks the package tests run with their own commands.
bool isRunWithThePackages(const Command& command) {
    static const std::string script = fileContents(kRoot / "tests/packages/run");
    std::smatch loop;
    if (!command.isInShellBlock || !std::regex_search(script, loop, std::regex(R"(for document in ([^;]+);)")))
        return false;
    const std::string documents = loop[1];
    const bool isNamed = documents.find("/" + command.document.string()) != std::string::npos;
    return isNamed ||
           (command.document.parent_path() == "docs/man" && documents.find("/docs/man/*") != std::string::npos);
}

bool runsHere(const std::string& text) {
    return text.starts_with("build/bin/") || text.starts_with("halvexctl ") || text.starts_with("halvexboard ") ||
           text == "./dev help";
}

/// Directory for the output of the documents' commands.
class Documents : public testing::Test {
protected:
    /// Returns the exit status, with this build's programs first in the path.
    int run(const std::string& text) const {
        const bool isOfTool = text.starts_with("halvexctl ");
        const bool isInRoot = !isOfTool && !text.starts_with("halvexboard ");
        std::string command = std::regex_replace(text, std::regex(R"(\bbuild/)"), HALVEX_BINARY_DIR "/");
        if (isOfTool) command = "halvexboard run -- " + command;
        const std::string folder = isInRoot ? kRoot.string() : scratch_.path().string();
        const std::string line = "cd '" + folder +
                                 "' && export PATH='" HALVEX_BINARY_DIR "/bin':\"$PATH\" && timeout 30 bash -c '" +
                                 std::regex_replace(command, std::regex("'"), R"('\'')") + "' > '" +
                                 (scratch_ / "output") + "' 2>&1 < /dev/null";
        const int status = std::system(line.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    testsupport::ScratchDirectory scratch_;
};

TEST_F(Documents, ShowOnlyCommandsThatAreRun) {
    const auto list = readList();
    int ran = 0, elsewhere = 0, withPackages = 0;
    for (const Command& command : documentedCommands()) {
        const auto listed = list.find(command.text);
        if (listed != list.end() && listed->second.how == "by") {
            ++elsewhere;
        } else if (isRunWithThePackages(command)) {
            ++withPackages;
        } else if (listed != list.end() || runsHere(command.text)) {
            const int status = run(listed != list.end() ? listed->second.what : command.text);
            // 1 is a warning: doctor reports that this machine's privileges or daemons are not those of a controller.
            const bool isWarning = status == 1 && command.text.starts_with("halvexctl ");
            EXPECT_TRUE(status == 0 || isWarning)
                << command.document << " says " << command.text << ", which exits with " << status << ":\n"
                << fileContents(scratch_ / "output").substr(0, 600);
            ++ran;
        } else {
            ADD_FAILURE() << command.document << " says \"" << command.text << "\", which no test runs; " << kList
                          << " can name the file that does, or a form of the command that this test can run";
        }
    }
    std::cout << ran << " run here, " << withPackages << " with the packages, " << elsewhere << " elsewhere\n";
    EXPECT_GT(ran, 10);
    EXPECT_GT(withPackages, 10);
}

TEST_F(Documents, LeaveToOthersOnlyCommandsThatTheyRun) {
    std::set<std::string> documented;
    for (const Command& command : documentedCommands()) documented.insert(command.text);
    for (const auto& [command, listed] : readList()) {
        EXPECT_TRUE(documented.contains(command)) << kList << " lists " << command << ", which no document shows";
        if (listed.how == "as") continue;
        ASSERT_EQ(listed.how, "by") << command;
        const auto colon = listed.what.find(": ");
        ASSERT_NE(colon, std::string::npos) << command << ": no reason is given";
        const std::string file = listed.what.substr(0, colon);
        ASSERT_TRUE(fs::is_regular_file(kRoot / file)) << command << ": there is no " << file;
        if (!file.starts_with(".ci/")) continue;  // run by a test
        EXPECT_THAT(linesOf(fileContents(kRoot / file)), testing::Contains(testing::HasSubstr(command))) << file;
    }
}

}  // namespace documentedCommandsTest
