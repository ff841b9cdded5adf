// The controller of the soak and its events.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/controller.h"

#include "board/preload/boardLife.h"
#include "board/preload/waiting.h"
#include "board/scenario/scenario.h"
#include "tests/soak/calls.h"
#include "tests/support/usualBoard.h"

namespace soak {
namespace {

using halvexboard::LockGuard;

constexpr std::int64_t kAllCapabilities = 2 | 2 << 8 | 4 << 16;
/// Per interface: in total no more than one alignment tolerates, whenever they happen.
constexpr int kMostEdgesToLose = 2;

}  // namespace

Controller::Controller(std::uint64_t seed) {
    board_config config = halvexboard::parseScenario(testsupport::kUsualBoard, "soak").config;
    config.seed = seed;
    halvexboard::CoreOptions options;
    options.sink = sink();
    if (!halvexboard::switchOn(config, options)) {
        std::fputs("soak: the board cannot be switched on\n", stderr);
        std::abort();
    }
}

Controller::~Controller() { halvexboard::switchOff(); }

void Controller::sleepS(double seconds) {
    halvexboard::sleepUntil(halvexboard::deadlineAfter(static_cast<std::uint64_t>(seconds * 1e9)));
}

std::uint64_t Controller::rawNs() const { return halvexboard::rawNow(); }

board_truth Controller::truth() {
    const LockGuard guard(halvexboard::boardLock());
    board_truth all{};
    board_get_truth(halvexboard::model(), halvexboard::rawNow(), &all);
    return all;
}

void Controller::doEvent(board_event_kind kind, int target, std::int64_t value) {
    const LockGuard guard(halvexboard::boardLock());
    const board_event_config event{halvexboard::rawNow(), kind, target, value};
    if (board_do_event(halvexboard::model(), event.at_ns, &event) != 0) std::abort();
    halvexboard::tellModelChanged();
    ++events_;
    if (kind == BOARD_EVENT_KILL_CHILD) wasKilled_ = true;
}

void Controller::toggle(bool& isOut, board_event_kind out, board_event_kind back, int target) {
    doEvent(isOut ? back : out, target);
    isOut = !isOut;
}

void Controller::happen(Random& random) {
    const auto which = static_cast<std::size_t>(random.below(kInterfaces));
    const int interface = BOARD_TARGET_INTERFACE(static_cast<int>(which));
    switch (random.below(14)) {
        case 0:
        case 1:
            return toggle(isDown_[which], BOARD_EVENT_INTERFACE_DOWN, BOARD_EVENT_INTERFACE_UP, interface);
        case 2:
            return toggle(isGone_[which], BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, interface);
        case 3:
            return doEvent(BOARD_EVENT_PHC_RESET, interface);
        case 4:
            return doEvent(BOARD_EVENT_JUMP, interface, static_cast<std::int64_t>(random.below(2'000'000)) - 1'000'000);
        case 5:
            if (edgesToLose_[which]++ < kMostEdgesToLose) doEvent(BOARD_EVENT_LOSE_EDGES, interface, 1);
            return;
        case 6:
            return doEvent(BOARD_EVENT_STALE_EVENTS, interface, static_cast<std::int64_t>(1 + random.below(200)));
        case 7:
            return toggle(isFpgaStopped_, BOARD_EVENT_FPGA_STOP, BOARD_EVENT_FPGA_RUN, BOARD_TARGET_FPGA);
        case 8:
            return toggle(isFpgaGone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FPGA);
        case 9:
            return doEvent(BOARD_EVENT_CRYSTAL, BOARD_TARGET_ANY, static_cast<std::int64_t>(random.below(10'000'000)));
        case 10:
            if (random.below(4) == 0) doEvent(BOARD_EVENT_KILL_CHILD, BOARD_TARGET_PHC2SYS, SIGKILL);
            return;
        case 11:
            if (!isIncapable_[which] && random.below(8) != 0) return;
            isIncapable_[which] = !isIncapable_[which];
            return doEvent(BOARD_EVENT_CAPABILITIES, interface, isIncapable_[which] ? 0 : kAllCapabilities);
        case 12:
            return toggle(isFerroxGone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FERROX);
        default:
            return toggle(isSi514Gone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_SI514);
    }
}

void Controller::restore() {
    for (std::size_t at = 0; at < kInterfaces; ++at) {
        const int interface = BOARD_TARGET_INTERFACE(static_cast<int>(at));
        if (isGone_[at]) toggle(isGone_[at], BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, interface);
        if (isDown_[at]) toggle(isDown_[at], BOARD_EVENT_INTERFACE_DOWN, BOARD_EVENT_INTERFACE_UP, interface);
        if (std::exchange(isIncapable_[at], false)) doEvent(BOARD_EVENT_CAPABILITIES, interface, kAllCapabilities);
    }
    if (isFpgaGone_) toggle(isFpgaGone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FPGA);
    doEvent(BOARD_EVENT_FPGA_RUN, BOARD_TARGET_FPGA);
    isFpgaStopped_ = false;
    if (isFerroxGone_) toggle(isFerroxGone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FERROX);
    if (isSi514Gone_) toggle(isSi514Gone_, BOARD_EVENT_DRIVER_GONE, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_SI514);
}

void Controller::beginHour() { edgesToLose_ = {}; }

bool Controller::isWhole() const { return !isFpgaGone_ && !isFerroxGone_ && !isSi514Gone_; }

bool Controller::takeWasKilled() { return std::exchange(wasKilled_, false); }

}  // namespace soak
