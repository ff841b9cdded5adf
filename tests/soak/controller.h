// The controller of the soak and its events.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "tests/soak/faultPlan.h"

namespace soak {

/// Two I210s, FPGA, Ferrox, Si514 and phc2sys, switched on for the object's lifetime, in virtual time. Keeps track of
/// what is disturbed, so that it can be restored. Threads: thread-bound.
class Controller {
public:
    static constexpr int kInterfaces = 2;
    static constexpr int kSystemTimeSource = BOARD_CLOCK_PHC(1);  ///< enp1s0, the second in the kernel's list.

    explicit Controller(std::uint64_t seed);
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    /// Starts or ends a random disturbance.
    void happen(Random& random);
    /// Makes everything present, up and running again; clocks keep their time.
    void restore();
    /// Allows edges to be lost again: no more per hour than the library tolerates.
    void beginHour();
    void doEvent(board_event_kind kind, int target, std::int64_t value = 0);

    void sleepS(double seconds);
    std::uint64_t rawNs() const;
    board_truth truth();

    /// Whether every driver is present.
    bool isWhole() const;
    /// Whether phc2sys was killed externally, or its clock went away, since the last call.
    bool takeWasKilled();
    std::uint64_t eventCount() const { return events_; }

private:
    void toggle(bool& isOut, board_event_kind out, board_event_kind back, int target);

    std::array<bool, kInterfaces> isDown_{}, isGone_{}, isIncapable_{};
    std::array<int, kInterfaces> edgesToLose_{};
    bool isFpgaStopped_ = false, isFpgaGone_ = false, isFerroxGone_ = false, isSi514Gone_ = false;
    bool wasKilled_ = false;
    std::uint64_t events_ = 0;
};

}  // namespace soak
