// A published timekeeper that only records its calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "source/zuHalvexTimekeeper/pluginState.h"
#include "tests/support/fakeDevices.h"
#include "tests/support/libcHooks.h"
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"

namespace testsupport {

class PublishedTimekeeper : public testing::Test {
protected:
    PublishedTimekeeper() { halvexTimekeeper::g_timekeeper = timekeeper_; }
    ~PublishedTimekeeper() override {
        halvexTimekeeper::g_timekeeper.reset();
        halvexTimekeeper::g_wakeEvent.reset();
    }

    std::shared_ptr<FakeTimekeeper> timekeeper_ = std::make_shared<FakeTimekeeper>();
    SyslogCapture syslog_;
    StatusHolder status_;
};

}  // namespace testsupport
