// Tests of loading a timekeeper library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/pluginLibrary.h"

#include "tests/support/test.h"

namespace halvexctl::pluginLibraryTest {

std::string refusal(const std::string& path) {
    try {
        const PluginLibrary library(path);
        return "loaded";
    } catch (const PluginError& error) {
        return error.what();
    }
}

TEST(PluginLibrary, FindsAllTwelveFunctions) {
    const PluginLibrary library(FAKE_PLUGIN);
    const PluginFunctions& found = library.functions();
    EXPECT_EQ(found.getAPIVersion(), 2u);
    EXPECT_TRUE(found.getName && found.isSeeded && found.getMinCorrectionPerSecond && found.getMaxCorrectionPerSecond &&
                found.setCorrectionPerSecond && found.getCorrectionPerSecond && found.snapTime && found.getTime &&
                found.applyMetaData && found.initialize && found.finalize);
}

TEST(PluginLibrary, NamesTheFileThatCannotBeLoadedAndWhy) {
    const std::string text = refusal("/nonexistent/library.so");
    EXPECT_EQ(text.rfind("cannot load /nonexistent/library.so: ", 0), 0u) << text;
    EXPECT_NE(text.find("No such file"), std::string::npos) << text;
}

TEST(PluginLibrary, NamesTheFirstFunctionThatIsMissing) {
    EXPECT_EQ(refusal(INCOMPLETE_PLUGIN), INCOMPLETE_PLUGIN " is not a timekeeper: it lacks zuqxmtk_getName");
}

}  // namespace halvexctl::pluginLibraryTest
