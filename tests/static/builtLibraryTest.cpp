// Exported symbols and hardening of the built library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace builtLibraryTest {

using testing::Contains;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 4096> buffer;
    while (const size_t count = fread(buffer.data(), 1, buffer.size(), pipe.get())) output.append(buffer.data(), count);
    return output;
}

std::string ofLibrary(const std::string& command) { return outputOf(command + " " HALVEX_LIBRARY " 2>&1"); }

TEST(BuiltLibrary, ShowsExactlyTheTwelveFunctions) {
    std::istringstream lines(ofLibrary("nm -D --defined-only"));
    std::vector<std::string> symbols;
    for (std::string address, type, symbol; lines >> address >> type >> symbol;) {
        EXPECT_EQ(type, "T") << symbol;
        symbols.push_back(symbol);
    }
    EXPECT_THAT(symbols, testing::UnorderedElementsAre(
                             "zuqxmtk_getAPIVersion", "zuqxmtk_getName", "zuqxmtk_isSeeded",
                             "zuqxmtk_getMinCorrectionPerSecond", "zuqxmtk_getMaxCorrectionPerSecond",
                             "zuqxmtk_setCorrectionPerSecond", "zuqxmtk_getCorrectionPerSecond", "zuqxmtk_snapTime",
                             "zuqxmtk_getTime", "zuqxmtk_applyMetaData", "zuqxmtk_initialize", "zuqxmtk_finalize"));
}

TEST(BuiltLibrary, CarriesTheMarksOfControlFlowEnforcement) {
    EXPECT_THAT(ofLibrary("readelf -nW"), HasSubstr("IBT, SHSTK"));
}

TEST(BuiltLibrary, CanBeLoadedAtRunTime) {
    const std::string dynamic = ofLibrary("readelf -dW");
    EXPECT_THAT(dynamic, Not(HasSubstr("NOOPEN")));
    EXPECT_THAT(dynamic, ContainsRegex("NEEDED.*libcjson"));
}

TEST(BuiltLibrary, NeedsNoNewerSystemLibrariesThanThePageOfPlatformsSays) {
    const std::string page = testsupport::fileContents(HALVEX_SOURCE_DIR "/docs/platforms.md");
    for (const std::string library : {"GLIBC", "GLIBCXX"}) {
        const std::string newest =
            outputOf("objdump -T " HALVEX_LIBRARY " | grep -o '" + library + "_[0-9.]*' | sort -V | tail -n 1");
        ASSERT_THAT(newest, testing::StartsWith(library));
        EXPECT_THAT(page, HasSubstr(newest.substr(0, newest.size() - 1)));
    }
}

TEST(BuiltLibrary, CanBeUnloadedSinceNoSymbolIsUnique) {
    EXPECT_THAT(ofLibrary("readelf -sW"), Not(HasSubstr(" UNIQUE ")));
}

}  // namespace builtLibraryTest
