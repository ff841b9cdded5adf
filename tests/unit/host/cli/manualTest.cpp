// Tests of the manual's lists, with the formatter for manual pages.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/manual.h"

#include "host/cli/verbTable.h"
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace halvexctl::manualTest {

using testing::HasSubstr;
using testsupport::fileContents;

std::string builtPage() { return fileContents(HALVEX_BUILD "/share/man/halvexctl.1"); }

TEST(Manual, TellsOfEveryVerbAndOptionInTheWordsOfTheTable) {
    const std::string lists = manualLists();
    for (const Verb& verb : verbs()) {
        EXPECT_THAT(lists, HasSubstr("\n.It Cm " + std::string(verb.name)));
        EXPECT_THAT(lists, HasSubstr("\n" + std::string(verb.summary) + ".\n"));
        for (const OptionRow& option : verb.options) {
            EXPECT_THAT(lists, HasSubstr(".It Fl Fl " + std::string(option.name.substr(2))));
        }
    }
    for (const OptionRow& option : toolOptions()) {
        EXPECT_THAT(lists, HasSubstr("Fl Fl " + std::string(option.name.substr(2))));
    }
}

TEST(Manual, MarksWhatMayBeLeftOut) {
    EXPECT_THAT(manualLists(), HasSubstr(".It Cm record Ar FILE Op Ar DURATION\n"));
    EXPECT_THAT(manualLists(), HasSubstr(".It Fl l , Fl Fl library Ar FILE\n"));
}

TEST(Manual, IsBuiltOfThePageAndTheLists) {
    EXPECT_THAT(builtPage(), HasSubstr(manualLists()));
    EXPECT_THAT(builtPage(), HasSubstr(".Os \"Halvex timekeeper " HALVEX_VERSION "\"\n"));
    EXPECT_EQ(builtPage().find('@'), std::string::npos);
}

}  // namespace halvexctl::manualTest
