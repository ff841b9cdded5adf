// The timekeeper shared by the entry points.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/pluginState.h"

#include "tests/support/raisedError.h"
#include "tests/unit/source/zuHalvexTimekeeper/publishedTimekeeper.h"

namespace pluginStateTest {

using namespace testsupport;

using halvexTimekeeper::checkInitialized;

using SharedTimekeeper = PublishedTimekeeper;

TEST_F(SharedTimekeeper, IsTheOneThatWasPublished) { EXPECT_EQ(&checkInitialized(), timekeeper_.get()); }

TEST_F(SharedTimekeeper, IsAnErrorOfItsOwnWhenThereIsNone) {
    constexpr ExpectedSite kSite{-52010, "zuplaterr_resourceNotInitialized", "halvexTimekeeperPlugin", 160};
    halvexTimekeeper::g_timekeeper.reset();
    EXPECT_EQ(raisedBy([] { checkInitialized(); }),
              makeError(kSite, "zuqxmtk_initialize was not called or did not successfully initialize the timekeeper."));
}

}  // namespace pluginStateTest
