// A host of the library: random calls, then checks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/host.h"

#include "include/zuqxmtk.h"
#include "tests/soak/calls.h"
#include "tests/soak/ledger.h"
#include "tests/support/statusHolder.h"

namespace soak {
namespace {

constexpr double kSecondsPerHour = 3600;
constexpr double kRestS = 180;
constexpr std::int64_t kToleranceNs = 100;
constexpr std::int64_t kServoToleranceNs = 60;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kOneDayNs = 86'400 * kNsPerSecond;
constexpr std::int64_t kWrittenSlackKiB = 512;
constexpr std::int64_t kBoardKiBPerDescriptor = 8;  // board memory per open file: two pages at most
constexpr std::int64_t kRoundingPerBlock = 16;      // variation of the allocator for equal requests

// Texts of equal length, so that the library's copies have equal length.
constexpr const char* kGoodMetadata = R"({"selectedTRInstID":"a","selectedTROffset":"12","TRs":{"a":{"type":"x"}}})";
constexpr const char* kBadMetadata = R"({"selectedTRInstID":"a","selectedTROffset":12.5,"TRs":{"a":{"type":"x"}}})";

}  // namespace

Host::Host(Controller& controller, std::uint64_t seed) : controller_(controller), random_(seed) {
    atStart_ = takeCensus();
}

void Host::demand(bool isTrue, const std::string& text) {
    if (!isTrue) ledger().violate(text);
}

template <typename Function>
std::int32_t Host::call(Function&& function) {
    testsupport::StatusHolder status;
    ++figures_.hostCalls;
    ledger().hostCallBegins(false);
    function(status.get());
    ledger().hostCallEnded();
    return status->code;
}

void Host::snapTime(std::int64_t offsetNs) {
    call([=](zuerr_Status* status) { zuqxmtk_snapTime(offsetNs, status); });
}

void Host::setCorrection(std::int32_t ppb) {
    call([=](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(ppb, status); });
}

void Host::applyMetaData(bool isGood) {
    call([=](zuerr_Status* status) { zuqxmtk_applyMetaData(isGood ? kGoodMetadata : kBadMetadata, status); });
}

void Host::initialize() {
    ++figures_.sessions;
    failedRequestsOfHour_ += tally().failedPtpRequests;
    tally().faults = tally().failedPtpRequests = tally().failedFpgaLoads = tally().taken = 0;
    weather().isInitializing = true;
    weather().isControllerWhole = controller_.isWhole();
    weather().errorLinesBefore = ledger().errorLineCount();
    testsupport::StatusHolder status;
    ledger().hostCallBegins(true);
    zuqxmtk_initialize(status.get());
    ledger().hostCallEnded();
    weather().isInitializing = false;
    isInitialized_ = status->code == 0;
    if (!isInitialized_) expectNothingLeft();
}

void Host::finalize() {
    weather().isFinalizing = true;
    ledger().hostCallBegins(false);
    zuqxmtk_finalize();
    ledger().hostCallEnded();
    weather().isFinalizing = false;
    isInitialized_ = false;
}

void Host::act() {
    if (!isInitialized_) {
        controller_.restore();
        initialize();
        return;
    }
    switch (random_.below(12)) {
        case 0:
        case 1:
            snapTime(static_cast<std::int64_t>(random_.below(4 * kNsPerSecond)) - 2 * kNsPerSecond);
            break;
        case 2:
            setCorrection(static_cast<std::int32_t>(random_.below(124'001)) - 62'000);
            break;
        case 3:
            call([](zuerr_Status* status) {
                std::int32_t ppb = 0;
                zuqxmtk_getCorrectionPerSecond(&ppb, status);
            });
            break;
        case 4:
            call([](zuerr_Status* status) {
                QxmTimestamp time = 0;
                zuqxmtk_getTime(&time, status);
            });
            break;
        case 5:
            applyMetaData(random_.below(4) != 0);
            break;
        case 6:
            if (random_.below(20) != 0) break;
            finalize();
            expectNothingLeft();
            initialize();
            break;
        default:
            controller_.happen(random_);
            break;
    }
}

void Host::liveOneHour() {
    const std::uint64_t endNs = (figures_.hours + 1) * static_cast<std::uint64_t>(kSecondsPerHour * kNsPerSecond);
    const std::uint64_t restNs = endNs - static_cast<std::uint64_t>(kRestS * kNsPerSecond);
    controller_.beginHour();
    failedRequestsOfHour_ = 0;
    weather().isFaulty = true;
    while (controller_.rawNs() < restNs && !ledger().isViolated()) {
        const double leftS = static_cast<double>(restNs - controller_.rawNs()) / kNsPerSecond;
        controller_.sleepS(std::min(leftS, 1 + static_cast<double>(random_.below(60'000)) / 1000));
        act();
    }
    weather().isFaulty = false;
    rest();
    if (controller_.rawNs() < endNs)
        controller_.sleepS(static_cast<double>(endNs - controller_.rawNs()) / kNsPerSecond);
    ++figures_.hours;
}

void Host::rest() {
    controller_.restore();
    if (isInitialized_) applyMetaData(true);
    controller_.sleepS(20);  // lets a running alignment end and returning devices be aligned
    collectErrors();
    demand(ledger().outstandingCount() == 0, "a fault was never reported");
    if (needsRestart()) restart();
    collectErrors();  // of the previous session
    snapTime(0);
    controller_.sleepS(10);
    collectErrors();
    applyMetaData(true);  // while idle: busy devices would make it drop the text
    const std::uint64_t errorLines = ledger().errorLineCount();
    expectAligned("after a step by nothing");
    flapEverything();
    controller_.sleepS(90);
    expectAligned("at rest");
    expectSystemClockFollows();
    demand(ledger().errorLineCount() == errorLines, "an error was logged at rest");
    expectNothingGrew();
}

/// Collects the error of the background, which must be reported exactly once.
void Host::collectErrors() {
    if (!isInitialized_) return;
    const auto readTime = [](zuerr_Status* status) {
        QxmTimestamp time = 0;
        zuqxmtk_getTime(&time, status);
    };
    if (call(readTime) != 0) demand(call(readTime) == 0, "an error was handed out twice");
}

/// What a host cannot repair by a step: no session, a refused clock, a lost descriptor, no phc2sys, or a system clock
/// far off. A descriptor is lost only when a request on a clock fails (and closes it) or when the FPGA cannot be found
/// again.
bool Host::needsRestart() {
    failedRequestsOfHour_ += tally().failedPtpRequests;
    const bool wasKilled = controller_.takeWasKilled();
    if (!isInitialized_) return true;
    const Census census = takeCensus();
    const int due = static_cast<int>(tally().refused + tally().taken);
    const int held = census.onTarget[BOARD_TARGET_INTERFACE(0)] + census.onTarget[BOARD_TARGET_INTERFACE(1)];
    const int heldOfFpga = census.onTarget[BOARD_TARGET_FPGA];
    demand(held <= due && heldOfFpga <= 1, "a descriptor too many after reopening");
    demand(held == due || tally().failedPtpRequests > 0,
           "a clock's descriptor was lost and no request on it had failed");
    demand(heldOfFpga == 1 || tally().failedPtpRequests + tally().failedFpgaLoads > 0,
           "the FPGA was lost without a fault");
    // phc2sys steps the system clock once, at its start; later it only slews, by 92 ms a second.
    const bool isSystemClockFarOff = std::abs(controller_.truth().difference_ns[BOARD_CLOCK_SYSTEM]) > kNsPerSecond;
    return wasKilled || isSystemClockFarOff || tally().taken < Controller::kInterfaces || held < due || heldOfFpga < 1;
}

/// Kept on purpose by the library: after a failed request a clock keeps the number of its closed descriptor. If another
/// clock is reopened with that number, both step the same clock, and each doubled step overshoots the other's until the
/// time leaves its range. No initialisation repairs that; a host's operator sets the clock.
void Host::setClocksThatRanAway() {
    const board_truth truth = controller_.truth();
    for (int at = 0; at < Controller::kInterfaces; ++at) {
        if (std::abs(truth.difference_ns[BOARD_CLOCK_PHC(at)]) < kOneDayNs) continue;
        demand(failedRequestsOfHour_ > 0, "a clock ran away and no request on a clock had failed");
        controller_.doEvent(BOARD_EVENT_PHC_RESET, BOARD_TARGET_INTERFACE(at));
        ++figures_.runaways;
    }
}

void Host::restart() {
    const std::uint64_t errorLines = ledger().errorLineCount();
    initializeAnew();
    if (ledger().errorLineCount() == errorLines) return;
    // Lost edges delayed the start so long that phc2sys took its only step to an unaligned clock. Start again, now that
    // no edges are left to lose.
    initializeAnew();
}

void Host::initializeAnew() {
    ++figures_.restarts;
    finalize();
    expectNothingLeft();
    setClocksThatRanAway();
    initialize();
    demand(isInitialized_ && tally().taken == Controller::kInterfaces,
           "the library cannot be initialised without a fault");
}

void Host::flapEverything() {
    for (int at = 0; at < Controller::kInterfaces; ++at) {
        controller_.doEvent(BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_INTERFACE(at));
    }
    controller_.doEvent(BOARD_EVENT_FPGA_STOP, BOARD_TARGET_FPGA);
    controller_.doEvent(BOARD_EVENT_JUMP, BOARD_TARGET_FPGA, -70'000);
    controller_.sleepS(5);
    for (int at = 0; at < Controller::kInterfaces; ++at) {
        controller_.doEvent(BOARD_EVENT_INTERFACE_UP, BOARD_TARGET_INTERFACE(at));
        controller_.doEvent(BOARD_EVENT_JUMP, BOARD_TARGET_INTERFACE(at), 50'000);
    }
    controller_.doEvent(BOARD_EVENT_FPGA_RUN, BOARD_TARGET_FPGA);
    controller_.sleepS(5);
    expectAligned("after coming back");
}

void Host::expectAligned(const char* when) {
    const board_truth truth = controller_.truth();
    for (std::uint32_t clock = 0; clock < truth.clock_count; ++clock) {
        if (clock == BOARD_CLOCK_SYSTEM) continue;
        const std::int64_t apartNs = std::abs(truth.difference_ns[clock]);
        demand(truth.enabled[clock] != 0, "clock " + std::to_string(clock) + " is not enabled " + when);
        demand(apartNs <= kToleranceNs,
               "clock " + std::to_string(clock) + " is " + std::to_string(apartNs) + " ns away " + when);
        figures_.worstAtRestNs = std::max(figures_.worstAtRestNs, apartNs);
    }
}

/// Checks against phc2sys's source, which the library may leave up to 100 ns off the master.
void Host::expectSystemClockFollows() {
    const board_truth truth = controller_.truth();
    const std::int64_t apartNs =
        std::abs(truth.difference_ns[BOARD_CLOCK_SYSTEM] - truth.difference_ns[Controller::kSystemTimeSource]);
    demand(truth.enabled[BOARD_CLOCK_SYSTEM] != 0, "phc2sys does not run at rest");
    demand(apartNs <= kServoToleranceNs, "the system clock is " + std::to_string(apartNs) + " ns away from its source");
    figures_.worstOfSystemNs = std::max(figures_.worstOfSystemNs, apartNs);
}

void Host::expectNothingGrew() {
    const Census census = takeCensus();
    const LiveMemory memory = liveMemory();
    constexpr int kDrivers = 3;  // Ferrox, FPGA, Si514
    const int descriptorsDue =
        atStart_.descriptors + static_cast<int>(tally().refused) + Controller::kInterfaces + kDrivers;
    demand(census.descriptors == descriptorsDue,
           std::to_string(census.descriptors) + " descriptors instead of " + std::to_string(descriptorsDue));
    demand(census.threads == 2, std::to_string(census.threads) + " threads");
    if (figures_.hours == 0) {
        afterFirstHour_ = memory;
        writtenAfterFirstHourKiB_ = census.writtenKiB;
    }
    const std::int64_t newBlocks = memory.blocks - afterFirstHour_.blocks;
    demand(newBlocks == 0, std::to_string(newBlocks) + " more allocations than after the first hour");
    demand(std::abs(memory.bytes - afterFirstHour_.bytes) <= kRoundingPerBlock * memory.blocks,
           std::to_string(memory.bytes - afterFirstHour_.bytes) + " bytes more than after the first hour");
    figures_.writtenGrowthKiB = std::max(figures_.writtenGrowthKiB, census.writtenKiB - writtenAfterFirstHourKiB_);
    demand(!kCountsMemory ||
               figures_.writtenGrowthKiB <= kWrittenSlackKiB + kBoardKiBPerDescriptor * std::int64_t{tally().refused},
           std::to_string(figures_.writtenGrowthKiB) + " KiB more written memory than after the first hour");
    figures_.descriptors = census.descriptors;
    figures_.threads = census.threads;
    figures_.blocks = memory.blocks;
    figures_.blockBytes = memory.bytes;
    figures_.writtenKiB = census.writtenKiB;
}

void Host::expectNothingLeft() {
    const Census census = takeCensus();
    const int descriptorsDue = atStart_.descriptors + static_cast<int>(tally().refused);
    demand(census.descriptors == descriptorsDue, std::to_string(census.descriptors) + " descriptors instead of " +
                                                     std::to_string(descriptorsDue) + " after finalising");
    demand(census.threads == 1, std::to_string(census.threads) + " threads after finalising");
    reapChildren();
}

/// Every started phc2sys is now a zombie, or still runs because killing it failed.
void Host::reapChildren() {
    std::uint32_t reaped = 0;
    while (waitpid(-1, nullptr, WNOHANG) > 0) ++reaped;
    if (tally().failedKills > 0) {
        controller_.doEvent(BOARD_EVENT_KILL_CHILD, BOARD_TARGET_PHC2SYS, SIGKILL);
        controller_.takeWasKilled();
        while (waitpid(-1, nullptr, WNOHANG) > 0) ++reaped;
    }
    demand(reaped == tally().spawned,
           std::to_string(reaped) + " zombies for " + std::to_string(tally().spawned) + " children");
    tally().spawned = tally().failedKills = 0;
}

void Host::finish() {
    finalize();
    expectNothingLeft();
    call([](zuerr_Status* status) { zuqxmtk_getMaxCorrectionPerSecond(status); });  // collects what is left
}

}  // namespace soak
