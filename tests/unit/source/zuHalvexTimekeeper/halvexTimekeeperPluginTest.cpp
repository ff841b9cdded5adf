// The exported functions without a status parameter.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "include/zuqxmtk.h"
#include "tests/support/raisedError.h"
#include "tests/unit/source/zuHalvexTimekeeper/publishedTimekeeper.h"

namespace halvexTimekeeperPluginTest {

using halvexTimekeeper::g_monitorStatus;
using halvexTimekeeper::g_timekeeper;
using namespace testing;

const std::string kNotInitialised =
    testsupport::makeError({-52010, "zuplaterr_resourceNotInitialized", "halvexTimekeeperPlugin", 160},
                           "zuqxmtk_initialize was not called or did not successfully initialize the timekeeper.")
        .information;

class FramelessExports : public testsupport::PublishedTimekeeper {
protected:
    ~FramelessExports() override { g_monitorStatus.code = 0; }
};

TEST_F(FramelessExports, AnswerWithTheVersionInEveryState) {
    EXPECT_EQ(zuqxmtk_getAPIVersion(), 2U);
    g_timekeeper.reset();
    EXPECT_EQ(zuqxmtk_getAPIVersion(), 2U);
    g_monitorStatus.code = -1;
    EXPECT_EQ(zuqxmtk_getAPIVersion(), 2U);
}

TEST_F(FramelessExports, CopyTheNameWithItsNulAndNothingMore) {
    char name[32];
    std::fill(std::begin(name), std::end(name), '#');
    zuqxmtk_getName(name);
    EXPECT_STREQ(name, "HalvexTimekeeper");
    EXPECT_EQ(name[17], '#');
}

TEST_F(FramelessExports, ReportANullNameToSyslogAndGoOn) {
    zuqxmtk_getName(nullptr);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR),
                ElementsAre("Encountered error in zuqxmtk_getName: FAIL(-52005,{\"error_constant\":"
                            "\"zuplaterr_invalidParameter\",\"file\":\"halvexTimekeeperPlugin\",\"line\":168,"
                            "\"component\":\"halvexTimekeeper\",\"zuhalvexTimekeeper_debug\":{\"errorInfo\":"
                            "\"The output pointer is null.\"}})"));
}

TEST_F(FramelessExports, TellWhetherTheTimekeeperIsSeeded) {
    EXPECT_TRUE(zuqxmtk_isSeeded());
    timekeeper_->seeded = false;
    EXPECT_FALSE(zuqxmtk_isSeeded());
}

TEST_F(FramelessExports, IgnoreAnErrorOfTheMonitoringThread) {
    g_monitorStatus.code = -52024;
    char name[32];
    zuqxmtk_getName(name);
    zuqxmtk_isSeeded();
    EXPECT_EQ(g_monitorStatus.code, -52024);
}

TEST_F(FramelessExports, LetTheNotInitialisedExceptionOut) {
    g_timekeeper.reset();
    char name[32] = "untouched";
    const auto whatOf = [](auto&& call) -> std::string {
        try {
            call();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(whatOf([&] { zuqxmtk_getName(name); }), kNotInitialised);
    EXPECT_EQ(whatOf([] { zuqxmtk_isSeeded(); }), kNotInitialised);
    EXPECT_STREQ(name, "untouched");
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

}  // namespace halvexTimekeeperPluginTest
