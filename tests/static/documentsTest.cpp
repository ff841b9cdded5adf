// The targets, files and names that the documents mention exist.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <regex>

#include "tests/support/files.h"
#include "tests/support/test.h"

namespace documentsTest {

namespace fs = std::filesystem;
using testsupport::fileContents;
const fs::path kRoot = HALVEX_SOURCE_DIR;

std::vector<fs::path> documents() {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(kRoot)) {
        if (entry.path().extension() == ".md") found.push_back(entry.path());
    }
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / "docs")) {
        if (entry.path().extension() == ".md") found.push_back(entry.path());
    }
    return found;
}

/// The subcommands of ./dev.
std::set<std::string> devCommands() {
    static const std::regex kCase(R"(\n  ([a-z-]+)(?: \| [a-z |-]+)?\) )");
    const std::string script = fileContents(kRoot / "dev");
    std::set<std::string> commands;
    for (std::sregex_iterator match(script.begin(), script.end(), kCase), end; match != end; ++match) {
        commands.insert((*match)[1]);
    }
    return commands;
}

TEST(DocumentTexts, GiveTheSystemClockOneBoundThatTheMeasuredFiguresKeep) {
    static const std::regex kBound(R"(hardware clocks within\s+100 ns and\s+the system clock within\s+3 us)");
    for (const char* document : {"README.md", "docs/timeScales.md", "packaging/debian/control"}) {
        EXPECT_TRUE(std::regex_search(fileContents(kRoot / document), kBound)) << document;
    }
    static const std::regex kFigures(R"(CLOCK_REALTIME \| (-?\d+) \| -?\d+ \| -?\d+ \| -?\d+ \| (-?\d+) \|)");
    const std::string measured = fileContents(kRoot / "docs/virtual-controller.md");
    std::smatch figures;
    ASSERT_TRUE(std::regex_search(measured, figures, kFigures));
    EXPECT_GT(std::stoi(figures[1]), -3'000);
    EXPECT_LT(std::stoi(figures[2]), 3'000);
}

/// Calls `check` with each document and what the first group of the pattern matches in it. Returns how many there are.
template <typename Check>
int forEachMatch(const std::regex& pattern, Check check) {
    int found = 0;
    for (const auto& document : documents()) {
        const std::string text = fileContents(document);
        for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match, ++found)
            check(document, (*match)[1].str());
    }
    return found;
}

TEST(DocumentTexts, NameOnlyCommandsThatTheScriptKnows) {
    const auto known = devCommands();
    ASSERT_THAT(known, testing::IsSupersetOf({"setup", "build", "test", "demo"}));
    EXPECT_GT(forEachMatch(std::regex(R"(\./dev ([a-z-]+))"),
                           [&](const fs::path& document, const std::string& command) {
                               EXPECT_TRUE(known.contains(command)) << document << " says ./dev " << command;
                           }),
              1);
}

TEST(DocumentTexts, LinkOnlyToFilesThatExist) {
    EXPECT_GT(forEachMatch(std::regex(R"(\]\(([^)#:\s]+)(?:#[^)]*)?\))"),
                           [](const fs::path& document, const std::string& target) {
                               EXPECT_TRUE(fs::exists(document.parent_path() / target)) << document << " -> " << target;
                           }),
              3);
}

TEST(DocumentTexts, ShowTheFiguresThatCommandsPrinted) {
    EXPECT_EQ(std::system(("'" + (kRoot / "docs/figures").string() + "' check").c_str()), 0);
}

/// The code names in a picture, per floor if it has floors.
std::map<int, std::set<std::string>> namesIn(const fs::path& picture) {
    static const std::regex kMark(R"re(<!-- floor (\d) -->|class="name[^"]*"[^>]*>([^<]+)<)re");
    const std::string text = fileContents(picture);
    std::map<int, std::set<std::string>> names;
    int floor = -1;
    for (std::sregex_iterator match(text.begin(), text.end(), kMark), end; match != end; ++match) {
        if ((*match)[1].matched) {
            floor = std::stoi((*match)[1]);
        } else {
            names[floor].insert((*match)[2]);
        }
    }
    return names;
}

const std::map<int, std::vector<const char*>> kFloors{{6, {"include", "zuerr"}},
                                                      {5, {"source/zuHalvexTimekeeper"}},
                                                      {4, {"source/zuHalvexTimekeeper"}},
                                                      {3, {"source/zuHalvexTimekeeper"}},
                                                      {2, {"interfaces", "source/tools"}},
                                                      {1, {"zuplat", "zujsonlh"}},
                                                      {0, {"zuerr"}}};

/// The units below the folders of one floor: file names without extension.
std::set<std::string> unitsOn(int floor, const std::set<std::string>& endings) {
    std::set<std::string> units;
    for (const char* folder : kFloors.at(floor)) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
            if (endings.contains(entry.path().extension())) units.insert(entry.path().stem());
        }
    }
    return units;
}

TEST(Pictures, PutEveryUnitOnItsFloor) {
    const auto names = namesIn(kRoot / "docs/architecture.svg");
    std::set<std::string> drawn;
    for (const auto& [floor, units] : kFloors) {
        ASSERT_TRUE(names.contains(floor)) << "no floor " << floor;
        const auto there = unitsOn(floor, {".h", ".cpp"});
        for (const std::string& name : names.at(floor)) {
            const bool isOfMachine = name.find_first_of("/_") != std::string::npos && !there.contains(name);
            EXPECT_TRUE(there.contains(fs::path(name).stem()) || isOfMachine || name == "phc2sys")
                << name << " is not on floor " << floor;
            drawn.insert(name);
        }
    }
    for (int floor = 0; floor < 6; ++floor) {
        for (const std::string& unit : unitsOn(floor, {".cpp"}))
            EXPECT_TRUE(drawn.contains(unit)) << unit << " is not drawn";
    }
}

TEST(Pictures, NameOnlyWhatTheSourcesKnow) {
    std::string sources = fileContents(kRoot / "packaging/abi/symbols");
    for (const char* folder : {"include", "zuerr", "zuplat", "zujsonlh", "interfaces", "source"}) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
            if (entry.is_regular_file())
                sources += entry.path().filename().string() + "\n" + fileContents(entry.path());
        }
    }
    int named = 0;
    for (const char* picture : {"architecture", "life", "controller"}) {
        for (const auto& [floor, names] : namesIn(kRoot / "docs" / (std::string(picture) + ".svg"))) {
            for (const std::string& name : names) {
                const std::string known = name == "/dev/ptpN" ? "/dev/ptp" : name;
                EXPECT_NE(sources.find(known), std::string::npos) << picture << ".svg names " << name;
                ++named;
            }
        }
    }
    EXPECT_GT(named, 40);
}

TEST(Pictures, CanBeReadOnLightAndOnDarkPaper) {
    for (const char* picture : {"architecture", "life", "controller"}) {
        const std::string text = fileContents(kRoot / "docs" / (std::string(picture) + ".svg"));
        EXPECT_THAT(text,
                    testing::AllOf(testing::HasSubstr("prefers-color-scheme: dark"), testing::HasSubstr("<title>"),
                                   testing::HasSubstr("<desc>"), testing::Not(testing::HasSubstr("href"))))
            << picture;
    }
}

/// The texts of the log lines and the codes in the product's sources.
std::vector<std::string> matchesIn(const std::vector<const char*>& folders, const std::regex& pattern) {
    std::vector<std::string> found;
    for (const char* folder : folders) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
            const auto ending = entry.path().extension();
            if (ending != ".h" && ending != ".cpp") continue;
            const std::string text = fileContents(entry.path());
            for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
                found.push_back((*match)[1]);
            }
        }
    }
    return found;
}

TEST(Guide, TellsCauseAndRemedyOfEveryLineInSyslog) {
    const std::string guide = fileContents(kRoot / "docs/integration.md");
    const auto calls =
        matchesIn({"zuerr", "zuplat", "zujsonlh", "interfaces", "source"}, std::regex(R"(\b(syslog)\()"));
    const auto lines = matchesIn({"zuerr", "zuplat", "zujsonlh", "interfaces", "source"},
                                 std::regex(R"re(\bsyslog\(LOG_[A-Z]+,\s*"([^"]+)")re"));
    EXPECT_EQ(lines.size(), calls.size()) << "a line whose text is not a literal";
    EXPECT_GE(lines.size(), 9U);
    for (const std::string& line : lines) {
        if (line.starts_with("Encountered error in zuqxmtk_getName"))
            continue;  // an instance of the line common to all calls
        const auto row = guide.find("| `" + line + "` | ");
        ASSERT_NE(row, std::string::npos) << line;
        const std::string cells = guide.substr(row, guide.find('\n', row) - row);
        EXPECT_EQ(std::count(cells.begin(), cells.end(), '|'), 4) << "cause and remedy of " << line;
    }
}

TEST(Guide, TellsEveryCodeAndEveryFunction) {
    const std::string guide = fileContents(kRoot / "docs/integration.md");
    const auto codes = matchesIn({"zuerr"}, std::regex(R"(= (-52\d{3});)"));
    EXPECT_GE(codes.size(), 20U);
    for (const std::string& code : codes) EXPECT_THAT(guide, testing::HasSubstr("| " + code + " | "));
    std::istringstream symbols(fileContents(kRoot / "packaging/abi/symbols"));
    int functions = 0;
    for (std::string function; std::getline(symbols, function); ++functions) {
        EXPECT_THAT(guide, testing::HasSubstr("`" + function + "`"));
    }
    EXPECT_EQ(functions, 12);
}

}  // namespace documentsTest
