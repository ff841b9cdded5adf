// Story 100: host threads call everything concurrently while hardware comes and goes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/system/machine.h"

namespace threads {

class Threads : public stories::Controller {
protected:
    /// Calls `function` repeatedly on its own thread, sleeping in between, until stop().
    void keepCalling(double napS, std::function<void(zuerr_Status*)> function) {
        callers_.emplace_back([this, napS, function = std::move(function)] {
            while (!isOver_) {
                testsupport::StatusHolder status;
                function(status.get());
                ++calls_;
                if (status->code < 0) ++failures_;
                waitS(napS);
            }
        });
    }

    /// Calls every export that may overlap, some of them twice.
    void callEverything() {
        for (const double napS : {0.001, 0.0007}) {
            keepCalling(napS, [](zuerr_Status* status) {
                std::uint64_t time = 0;
                zuqxmtk_getTime(&time, status);
            });
        }
        keepCalling(0.03, [](zuerr_Status* status) { zuqxmtk_snapTime(200, status); });
        keepCalling(0.04, [](zuerr_Status* status) { zuqxmtk_snapTime(-200, status); });
        keepCalling(0.003, [](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(-1250, status); });
        keepCalling(0.003, [](zuerr_Status* status) {
            std::int32_t ppb = 0;
            zuqxmtk_getCorrectionPerSecond(&ppb, status);
        });
        keepCalling(0.01, [](zuerr_Status* status) { zuqxmtk_applyMetaData(R"({"selectedTROffset":"12"})", status); });
        keepCalling(0.01, [](zuerr_Status* status) {
            zuqxmtk_getMaxCorrectionPerSecond(status);
            zuqxmtk_isSeeded();
        });
    }

    void stop() {
        isOver_ = true;
        for (std::thread& caller : callers_) caller.join();
        callers_.clear();
    }
    void TearDown() override { stop(); }

    std::atomic<bool> isOver_ = false;
    std::atomic<long> calls_ = 0;
    std::atomic<long> failures_ = 0;
    std::vector<std::thread> callers_;
};

TEST_F(Threads, EightThreadsCallEverythingAtOnce) {
    start();
    callEverything();
    waitS(4);
    stop();
    EXPECT_GT(calls_, 1'000);
    EXPECT_EQ(failures_, 0);
    waitS(2);
    expectAligned();
}

TEST_F(Threads, WhileInterfacesGoDownAndUpAndTheFpgaStops) {
    start();
    callEverything();
    for (int round = 0; round < 2; ++round) {
        doEvent("interface_down", "enp2s0");
        waitS(1.5);
        doEvent("interface_up", "enp2s0");
        doEvent("fpga_stop", "fpga");
        waitS(1.5);
    }
    stop();
    EXPECT_GT(calls_, 1'000);
    waitS(6);
    readTime();  // collects the monitoring thread's error of the stopped FPGA
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    waitS(2);
    expectAligned();
}

TEST_F(Threads, EveryCallerMeetsTheDriverThatLeftAndRecovers) {
    start();
    callEverything();
    waitS(0.5);
    doEvent("driver_gone", "ferrox");
    waitS(1);
    doEvent("driver_back", "ferrox");
    waitS(1);
    stop();
    EXPECT_GT(failures_, 10);
    waitS(5);
    readTime();  // collects the monitoring thread's error
    EXPECT_EQ(readTime(), 0) << lastText_;
}

}  // namespace threads
