// The controller of the soak, and what happens to it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "board/model/board.h"
#include "tests/soak/faultPlan.h"

namespace soak {

/// Two I210s, FPGA, Ferrox, Si514 and phc2sys, switched on for the length of its life, in virtual time. What is out of
/// order is known, so that it can be put in order again. Threads: bound to the one that made it.
class Controller {
public:
    static constexpr int kInterfaces = 2;
    static constexpr int kSystemTimeSource = BOARD_CLOCK_PHC(1);  ///< enp1s0 is the second that the kernel lists.

    explicit Controller(std::uint64_t seed);
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    /// Something happens, or something that happened is over.
    void happen(Random& random);
    /// Everything is there, up and running again; clocks keep the time they have.
    void restore();
    /// Edges may get lost again: no more in an hour than the library forgives.
    void beginHour();
    void doEvent(board_event_kind kind, int target, std::int64_t value = 0);

    void sleepS(double seconds);
    std::uint64_t rawNs() const;
    board_truth truth();

    /// Every driver is there.
    bool isWhole() const;
    /// phc2sys was killed from outside, or its clock went away, since this was last asked for.
    bool takeWasKilled();
    std::uint64_t eventCount() const { return events_; }

private:
    bool toggle(bool& isOut, board_event_kind out, board_event_kind back, int target);

    std::array<bool, kInterfaces> isDown_{}, isGone_{}, isIncapable_{};
    std::array<int, kInterfaces> edgesToLose_{};
    bool isFpgaStopped_ = false, isFpgaGone_ = false, isFerroxGone_ = false, isSi514Gone_ = false;
    bool wasKilled_ = false;
    std::uint64_t events_ = 0;
};

}  // namespace soak
