// What the documents tell a reader to type exists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
const fs::path kRoot = HALVEX_SOURCE_DIR;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::vector<fs::path> documents() {
    std::vector<fs::path> found{kRoot / "README.md"};
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "docs")) {
        if (entry.path().extension() == ".md") found.push_back(entry.path());
    }
    return found;
}

/// The commands that the script answers to.
std::set<std::string> devCommands() {
    static const std::regex kCase(R"(\n  ([a-z-]+)(?: \| [a-z |-]+)?\) )");
    const std::string script = contentOf(kRoot / "dev");
    std::set<std::string> commands;
    for (std::sregex_iterator match(script.begin(), script.end(), kCase), end; match != end; ++match) {
        commands.insert((*match)[1]);
    }
    return commands;
}

TEST(Documents, NameOnlyCommandsThatTheScriptKnows) {
    static const std::regex kCommand(R"(\./dev ([a-z-]+))");
    const auto known = devCommands();
    ASSERT_THAT(known, testing::IsSupersetOf({"setup", "build", "test", "demo"}));
    int named = 0;
    for (const auto& document : documents()) {
        const std::string text = contentOf(document);
        for (std::sregex_iterator match(text.begin(), text.end(), kCommand), end; match != end; ++match) {
            EXPECT_TRUE(known.contains((*match)[1])) << document << " says ./dev " << (*match)[1];
            ++named;
        }
    }
    EXPECT_GT(named, 1);
}

/// The commands of a document's shell blocks, lines that go on joined.
std::vector<std::string> shellCommandsOf(const std::string& text) {
    static const std::regex kBlock("```sh\n([\\s\\S]*?)```");
    static const std::regex kGoesOn(R"(\\\n\s*)");
    std::vector<std::string> commands;
    for (std::sregex_iterator block(text.begin(), text.end(), kBlock), end; block != end; ++block) {
        std::istringstream lines(std::regex_replace((*block)[1].str(), kGoesOn, " "));
        for (std::string line; std::getline(lines, line);) commands.push_back(line);
    }
    return commands;
}

TEST(Documents, ShowCommandsOfTheBuildThatSucceed) {
    static const std::regex kBuildFolder(R"(\bbuild/)");
    int ran = 0;
    for (const auto& document : documents()) {
        for (const std::string& command : shellCommandsOf(contentOf(document))) {
            if (!command.starts_with("build/bin/")) continue;
            const std::string here = std::regex_replace(command, kBuildFolder, HALVEX_BINARY_DIR "/");
            EXPECT_EQ(std::system(("cd '" + kRoot.string() + "' && " + here + " > /dev/null < /dev/null").c_str()), 0)
                << document << " says " << command;
            ++ran;
        }
    }
    EXPECT_GT(ran, 1);
}

TEST(Documents, LinkOnlyToFilesThatExist) {
    static const std::regex kLink(R"(\]\(([^)#:\s]+)(?:#[^)]*)?\))");
    int links = 0;
    for (const auto& document : documents()) {
        const std::string text = contentOf(document);
        for (std::sregex_iterator match(text.begin(), text.end(), kLink), end; match != end; ++match) {
            EXPECT_TRUE(fs::exists(document.parent_path() / (*match)[1].str())) << document << " -> " << (*match)[1];
            ++links;
        }
    }
    EXPECT_GT(links, 3);
}

}  // namespace
