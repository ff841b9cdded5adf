// The dependency and naming rules of the tree, checked on its files.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <regex>

#include "tests/support/files.h"
#include "tests/support/test.h"

namespace sourceRulesTest {

namespace fs = std::filesystem;
using testsupport::fileContents;
using Names = std::vector<std::string>;

const fs::path kRoot = HALVEX_SOURCE_DIR;

/// All C and C++ files below a folder, with paths from the root.
Names sourcesBelow(const std::string& folder) {
    static const std::set<std::string> kEndings{".h", ".c", ".cpp"};
    Names sources;
    if (!fs::exists(kRoot / folder)) return sources;
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
        if (kEndings.contains(entry.path().extension())) sources.push_back(fs::relative(entry.path(), kRoot));
    }
    std::sort(sources.begin(), sources.end());
    return sources;
}

/// A file's quoted includes: the project's own headers.
Names includesOf(const std::string& source) {
    static const std::regex kInclude(R"(^\s*#\s*include\s*"([^"]+)\")");
    Names includes;
    std::istringstream lines(fileContents(kRoot / source));
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, match, kInclude)) includes.push_back(match[1]);
    }
    return includes;
}

std::string unitOf(const std::string& path) { return fs::path(path).stem(); }
bool isBelow(const std::string& path, const std::string& folder) { return path.starts_with(folder + "/"); }

/// Layers of the plug-in's own folder.
enum class Room { componentInterface, device, timekeeper, entry };

const std::map<std::string, Room>& rooms() {
    static const std::map<std::string, Room> kRooms{
        {"clockInterface", Room::componentInterface},
        {"epochDeviceInterface", Room::componentInterface},
        {"freqSteeringDeviceInterface", Room::componentInterface},
        {"timekeeperInterface", Room::componentInterface},
        {"i210EpochDevice", Room::device},
        {"i210EpochHelpers", Room::device},
        {"fpgaEpochDevice", Room::device},
        {"timeReferenceMetadata", Room::device},
        {"ferroxEpochDevice", Room::device},
        {"si514FreqSteeringDevice", Room::device},
        {"systemTimeClock", Room::device},
        {"halvexTimekeeper", Room::timekeeper},
        {"epochAlignment", Room::timekeeper},
        {"timeDifference", Room::timekeeper},
        {"monitoringThread", Room::timekeeper},
        {"halvexTimekeeperPlugin", Room::entry},
        {"pluginState", Room::entry},
        {"pluginLifecycle", Room::entry},
        {"callFrame", Room::entry},
        {"i210EpochDeviceFactory", Room::entry},
    };
    return kRooms;
}

const std::string kPlugin = "source/zuHalvexTimekeeper";

Room roomOf(const std::string& source) {
    const auto room = rooms().find(unitOf(source));
    if (room == rooms().end()) {
        ADD_FAILURE() << source << " has no room in the floor plan";
        return Room::entry;
    }
    return room->second;
}

/// The device that a unit belongs to: a device may use its own helpers but no other device.
std::string deviceOf(const std::string& source) {
    const std::string unit = unitOf(source);
    if (unit == "i210EpochHelpers") return "i210EpochDevice";
    if (unit == "timeReferenceMetadata") return "fpgaEpochDevice";
    return unit;
}

bool mayPluginInclude(const std::string& source, const std::string& included) {
    if (!isBelow(included, kPlugin)) {
        switch (roomOf(source)) {
            case Room::componentInterface:
                return included == "source/tools/qxmTimestamp.h";
            case Room::device:
                return isBelow(included, "zuerr") || isBelow(included, "zuplat") || isBelow(included, "zujsonlh") ||
                       isBelow(included, "interfaces") || isBelow(included, "source/tools");
            case Room::timekeeper:
                return isBelow(included, "zuerr") || isBelow(included, "source/tools") ||
                       isBelow(included, "zuplat/quarks");
            case Room::entry:
                return !isBelow(included, "board") && !isBelow(included, "tests");
        }
    }
    const Room from = roomOf(source);
    const Room to = roomOf(included);
    if (to == Room::componentInterface) return true;
    if (from == Room::device) return to == Room::device && deviceOf(source) == deviceOf(included);
    if (from == Room::timekeeper) return to == Room::timekeeper;
    return from == Room::entry;
}

/// Which folders a folder's files may include from; the plug-in's own folder has separate rules.
bool mayInclude(const std::string& source, const std::string& included) {
    if (isBelow(included, "locks")) return true;
    if (isBelow(source, "locks")) return false;
    if (isBelow(source, "zuerr")) return isBelow(included, "zuerr");
    if (isBelow(source, "zuplat")) return isBelow(included, "zuplat") || included == "zuerr/codes.h";
    if (isBelow(source, "zujsonlh")) return isBelow(included, "zujsonlh") || isBelow(included, "zuerr");
    if (isBelow(source, "interfaces")) return isBelow(included, "interfaces") || isBelow(included, "zuplat");
    if (isBelow(source, "source/tools")) {
        return isBelow(included, "source/tools") || isBelow(included, "zuerr") || included == "zuplat/platStatus.h";
    }
    if (isBelow(source, "include")) return included == "zuerr/zuerr_Status.h";
    return mayPluginInclude(source, included);
}

const Names kProductFolders{"locks", "zuerr", "zuplat", "zujsonlh", "interfaces", "source", "include"};

Names productSources() {
    Names sources;
    for (const auto& folder : kProductFolders) {
        const Names below = sourcesBelow(folder);
        sources.insert(sources.end(), below.begin(), below.end());
    }
    return sources;
}

TEST(FloorPlan, IsReadFromATreeThatIsThere) { EXPECT_GT(productSources().size(), 40U); }

TEST(FloorPlan, LetsIncludesPointDownwardOnly) {
    for (const auto& source : productSources()) {
        for (const auto& included : includesOf(source)) {
            EXPECT_TRUE(fs::exists(kRoot / included)) << source << " does not name " << included << " from the root";
            EXPECT_TRUE(mayInclude(source, included)) << source << " may not include " << included;
        }
    }
}

TEST(FloorPlan, WouldNoticeADeviceThatIncludesAnother) {
    EXPECT_FALSE(mayInclude(kPlugin + "/fpgaEpochDevice.cpp", kPlugin + "/ferroxEpochDevice.h"));
    EXPECT_FALSE(mayInclude(kPlugin + "/halvexTimekeeper.cpp", kPlugin + "/i210EpochDevice.h"));
    EXPECT_FALSE(mayInclude("zuplat/platStatus.cpp", "zuerr/exception.h"));
    EXPECT_FALSE(mayInclude("locks/annotatedLocks.h", "zuerr/codes.h"));
    EXPECT_TRUE(mayInclude(kPlugin + "/i210EpochDevice.cpp", kPlugin + "/i210EpochHelpers.h"));
}

TEST(FloorPlan, KeepsTheBoardAndTheProductApart) {
    for (const auto& source : sourcesBelow("board")) {
        for (const auto& included : includesOf(source)) {
            const bool isProduct = !isBelow(included, "locks") &&
                                   std::any_of(kProductFolders.begin(), kProductFolders.end(),
                                               [&](const auto& folder) { return isBelow(included, folder); });
            EXPECT_FALSE(isProduct) << source << " includes " << included;
        }
    }
    for (const auto& source : productSources()) {
        for (const auto& included : includesOf(source)) EXPECT_FALSE(isBelow(included, "board")) << source;
    }
}

TEST(FloorPlan, ShowsHostsAndBoundaryTestsThePublicHeadersOnly) {
    for (const std::string folder : {"host", "tests/boundary"}) {
        for (const auto& source : sourcesBelow(folder)) {
            for (const auto& included : includesOf(source)) {
                const bool isOwn = included.find('/') == std::string::npos || isBelow(included, "host") ||
                                   isBelow(included, "tests") || isBelow(included, "locks");
                const bool isPublic =
                    included == "zuqxmtk.h" || included == "include/zuqxmtk.h" || included == "zuerr/zuerr_Status.h";
                EXPECT_TRUE(isOwn || isPublic) << source << " includes " << included;
            }
        }
    }
}

/// The test file of a unit; the unit is named without extension.
std::string testOf(const std::string& unit) { return "tests/unit/" + unit + "Test.cpp"; }

/// Whether the tree has a file of that name with any extension.
bool isUnit(const fs::path& unit) {
    const fs::path folder = kRoot / unit.parent_path();
    return fs::is_directory(folder) && std::ranges::any_of(fs::directory_iterator(folder), [&](const auto& entry) {
               return entry.is_regular_file() && entry.path().stem() == unit.filename();
           });
}

TEST(UnitTests, LieInTheFolderOfTheirUnitAndCarryItsName) {
    static const std::string kEnding = "Test.cpp";
    int seen = 0;
    for (const auto& source : sourcesBelow("tests/unit")) {
        if (!source.ends_with(kEnding)) continue;
        const std::string unit = source.substr(0, source.size() - kEnding.size());
        EXPECT_TRUE(isUnit(fs::relative(unit, "tests/unit"))) << source << " is the test of nothing";
        ++seen;
    }
    EXPECT_GT(seen, 80);
    EXPECT_FALSE(isUnit("source/tools/texts"));
}

TEST(UnitTests, AreThereForEveryUnitOfTheProduct) {
    for (const auto& source : productSources()) {
        if (!source.ends_with(".cpp")) continue;
        const std::string test = testOf(source.substr(0, source.size() - 4));
        EXPECT_TRUE(fs::exists(kRoot / test)) << "nothing tests " << source << ": no " << test;
    }
}

TEST(TestPrograms, ThatScriptsNameAreBuilt) {
    static const std::regex kProgram(R"(\b\w+(Test|Replay)\b)");
#ifdef HALVEX_THREAD_SANITIZER
    GTEST_SKIP() << "programs on the preloaded board are left out under the thread sanitizer";
#endif
    const std::string targets = fileContents(fs::path(HALVEX_BINARY_DIR) / "build.ninja");
    Names named;
    for (const std::string script : {"tests/mutants/jury.py", "tests/mutants/run", "tests/coverage/run"}) {
        const std::string text = fileContents(kRoot / script);
        for (std::sregex_iterator match(text.begin(), text.end(), kProgram), end; match != end; ++match) {
            named.push_back(match->str());
            EXPECT_NE(targets.find("\nbuild " + named.back() + ": phony"), std::string::npos)
                << script << " names " << named.back() << ", which is not built";
        }
    }
    for (const std::string folder : {"zuerr", "zuplat", "zujsonlh", "interfaces", "source", "tests"}) {
        EXPECT_EQ(std::count(named.begin(), named.end(), folder + "Test"), 2)
            << folder << "Test: once in jury.py, once in coverage/run";
    }
}

TEST(Sources, SayInTheirFirstLineWhatTheyAre) {
    for (const std::string folder :
         {"locks", "zuerr", "zuplat", "zujsonlh", "interfaces", "source", "include", "board", "host", "tests"}) {
        for (const auto& source : sourcesBelow(folder)) {
            const std::string content = fileContents(kRoot / source);
            EXPECT_TRUE(content.starts_with("// ") || content.starts_with("/* ")) << source;
        }
    }
}

TEST(Sources, NameInTheChangelogTheVersionThatIsBuilt) {
    EXPECT_TRUE(
        fileContents(kRoot / "packaging/debian/changelog").starts_with("halvex-timekeeper (" HALVEX_VERSION ")"));
}

TEST(Sources, RecordErrorLinesAsData) {
    for (const auto& source : productSources()) {
        EXPECT_EQ(fileContents(kRoot / source).find("__LINE__"), std::string::npos) << source;
    }
}

/// Every function of a file that is longer than 40 lines, as "line (length)". Trusts the layout of clang-format: a body
/// opens behind a parameter list or alone on a line, and the first brace that is indented less than it closes it.
Names longFunctionsOf(const std::string& source) {
    static const std::regex kOpening(R"(^\{$|(\)( const| noexcept| override)*|\}|-> .*) \{$)");
    constexpr std::size_t kLongest = 40;
    Names lines, found;
    std::istringstream content(fileContents(kRoot / source));
    for (std::string line; std::getline(content, line);) lines.push_back(line);
    const auto indentOf = [&lines](std::size_t line) { return lines[line].find_first_not_of(" \t"); };
    for (std::size_t first = 0; first + 1 < lines.size(); ++first) {
        if (!lines[first].ends_with('{') || !std::regex_search(lines[first], kOpening)) continue;
        std::size_t last = first + 1;
        const std::size_t indent = indentOf(last);
        const auto closes = [&](std::size_t line) {
            return indentOf(line) != std::string::npos && lines[line][indentOf(line)] == '}' && indentOf(line) < indent;
        };
        while (last + 1 < lines.size() && !closes(last)) ++last;
        if (last - first >= kLongest)
            found.push_back(std::to_string(first + 1) + " (" + std::to_string(last - first + 1) + ")");
        first = last;
    }
    return found;
}

TEST(Sources, HaveNoFunctionOver40LinesAndNoFileOver500) {
    for (const std::string folder : {"locks", "zuerr", "zuplat", "zujsonlh", "interfaces", "source", "include", "board",
                                     "host", "tests", "bench", "fuzz"}) {
        for (const auto& source : sourcesBelow(folder)) {
            const std::string content = fileContents(kRoot / source);
            EXPECT_LE(std::count(content.begin(), content.end(), '\n'), 500) << source;
            EXPECT_THAT(longFunctionsOf(source), testing::IsEmpty()) << source;
        }
    }
}

TEST(Sources, NameEveryErrorSiteOfAUnitOnce) {
    static const std::regex kSite(R"(ErrorSite\s+\w+\{[^}]*?"(\w+)\",\s*(\d+)\})");
    std::map<std::pair<std::string, std::string>, std::string> sites;
    for (const auto& source : productSources()) {
        const std::string content = fileContents(kRoot / source);
        for (std::sregex_iterator match(content.begin(), content.end(), kSite), end; match != end; ++match) {
            const auto [earlier, isNew] = sites.emplace(std::pair{(*match)[1].str(), (*match)[2].str()}, source);
            EXPECT_TRUE(isNew) << source << " and " << earlier->second << " report " << (*match)[1] << ":"
                               << (*match)[2];
        }
    }
    EXPECT_GT(sites.size(), 5U);
}

}  // namespace sourceRulesTest
