// Story 140: the host cancels its calling threads.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/support/processCensus.h"

namespace aCancelledHost {

class ACancelledHost : public stories::Controller {
protected:
    using Call = std::function<void(zuerr_Status*)>;

    /// Makes a call on a thread with a pending cancellation; returns whether the call returned.
    bool comesBack(Call call, std::int32_t code = 0) {
        struct Cancelled {
            Call call;
            testsupport::StatusHolder status{};
            bool isBack = false;
        } cancelled{std::move(call)};
        pthread_t thread;
        const auto run = [](void* given) -> void* {
            auto& self = *static_cast<Cancelled*>(given);
            pthread_cancel(pthread_self());
            self.call(self.status.get());
            self.isBack = true;
            pthread_testcancel();
            return nullptr;
        };
        EXPECT_EQ(pthread_create(&thread, nullptr, run, &cancelled), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(cancelled.status->code, code) << cancelled.status.getText();
        return cancelled.isBack;
    }
};

TEST_F(ACancelledHost, GetsEveryCallButThoseOfTheOscillatorFinished) {
    switchOn();
    const int descriptors = testsupport::countOpenDescriptors();
    EXPECT_TRUE(comesBack(zuqxmtk_initialize));
    expectAligned();
    std::uint64_t time = 0;
    EXPECT_TRUE(comesBack([&](zuerr_Status* status) { zuqxmtk_getTime(&time, status); }));
    EXPECT_NE(time, 0U);
    for (const std::int64_t offsetNs : {1'500'000, -1'500'000}) {  // the second waits for the alignment of the first
        EXPECT_TRUE(comesBack([=](zuerr_Status* status) { zuqxmtk_snapTime(offsetNs, status); }));
    }
    EXPECT_TRUE(comesBack([](zuerr_Status* status) { zuqxmtk_applyMetaData("{}", status); }));
    EXPECT_TRUE(comesBack([](zuerr_Status* status) { EXPECT_EQ(zuqxmtk_getMaxCorrectionPerSecond(status), 62000); }));
    EXPECT_TRUE(comesBack([](zuerr_Status* status) { EXPECT_EQ(zuqxmtk_getMinCorrectionPerSecond(status), -62000); }));
    EXPECT_TRUE(comesBack([](zuerr_Status*) { EXPECT_TRUE(zuqxmtk_isSeeded()); }));
    waitS(5);
    expectAligned();
    EXPECT_TRUE(comesBack([](zuerr_Status*) { zuqxmtk_finalize(); }));
    EXPECT_EQ(testsupport::countOpenDescriptors(), descriptors);
}

TEST_F(ACancelledHost, LeavesTheCallsOfTheOscillatorBeforeAnythingIsReadOrWritten) {
    start();
    ASSERT_EQ(setCorrection(-1250), 0);
    EXPECT_FALSE(comesBack([](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(12000, status); }));
    std::int32_t correctionPpb = 0;
    const auto get = [&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&correctionPpb, status); };
    EXPECT_FALSE(comesBack(get));
    EXPECT_EQ(correctionPpb, 0);
    EXPECT_EQ(codeOf(get), 0);
    EXPECT_EQ(correctionPpb, -1250);
    EXPECT_EQ(setCorrection(12000), 0) << "the lock is free";
}

TEST_F(ACancelledHost, IsToldOfErrorsInTheStatusAndTheLog) {
    switchOn("", "[[interface]]\nname = \"eth0\"\nn_pins = 3\n");
    EXPECT_TRUE(comesBack([](zuerr_Status* status) { zuqxmtk_getTime(nullptr, status); }, -52010));
    EXPECT_TRUE(comesBack(zuqxmtk_initialize, -52010));
    EXPECT_TRUE(comesBack([](zuerr_Status*) { zuqxmtk_finalize(); }));
    EXPECT_EQ(countSyslog("Encountered error in zuqxmtk_getTime: FAIL(-52010,"), 1);
    EXPECT_EQ(countSyslog("*** warning: Interface eth0 is not usable and will not be synchronized."), 1);
    EXPECT_EQ(countSyslog("Encountered error in zuqxmtk_initialize: FAIL(-52010,"), 1);
}

}  // namespace aCancelledHost
