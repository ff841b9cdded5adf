// A host of the library: an hour of random calls on a faulty controller, then a quiet period in which all must be well.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/soak/census.h"
#include "tests/soak/controller.h"
#include "tests/soak/faultPlan.h"
#include "tests/soak/liveMemory.h"

namespace soak {

/// Figures of a soak.
struct Figures {
    std::uint64_t hours = 0, hostCalls = 0, sessions = 0, restarts = 0, runaways = 0;
    std::int64_t worstAtRestNs = 0, worstOfSystemNs = 0;
    int descriptors = 0, threads = 0;
    std::int64_t blocks = 0, blockBytes = 0, writtenKiB = 0, writtenGrowthKiB = 0;
};

/// Drives the library through its exports. Threads: thread-bound. Failure: reported to the ledger; the host continues
/// until the hour is over.
class Host {
public:
    Host(Controller& controller, std::uint64_t seed);
    /// 57 minutes with faults, 3 minutes without, followed by all checks.
    void liveOneHour();
    void finish();
    const Figures& figures() const { return figures_; }

private:
    void act();
    void initialize();
    void finalize();
    /// Calls with a fresh status; returns its code.
    template <typename Function>
    std::int32_t call(Function&& function);
    void snapTime(std::int64_t offsetNs);
    void setCorrection(std::int32_t ppb);
    void applyMetaData(bool isGood);

    void rest();
    void collectErrors();
    bool needsRestart();
    void restart();
    void initializeAnew();
    void setClocksThatRanAway();
    /// Takes interfaces down and up, stops and restarts the FPGA, with their clocks moved meanwhile: the library must
    /// align them without a call.
    void flapEverything();
    void expectAligned(const char* when);
    void expectSystemClockFollows();
    void expectNothingGrew();
    void expectNothingLeft();
    void reapChildren();
    void demand(bool isTrue, const std::string& text);

    Controller& controller_;
    Random random_;
    Figures figures_;
    Census atStart_;
    LiveMemory afterFirstHour_;
    std::int64_t writtenAfterFirstHourKiB_ = 0;
    std::uint32_t failedRequestsOfHour_ = 0;
    bool isInitialized_ = false;
};

}  // namespace soak
