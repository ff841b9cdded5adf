// A board switched on for a test, with a record of its happenings.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_TESTS_UNIT_BOARD_MODEL_BOARDFIXTURE_H
#define HALVEX_TESTS_UNIT_BOARD_MODEL_BOARDFIXTURE_H

#include "board/model/board.h"
#include "tests/support/test.h"

namespace halvexboard {

inline constexpr std::uint64_t kUs = 1'000;
inline constexpr std::uint64_t kMs = 1'000'000;
inline constexpr std::uint64_t kS = 1'000'000'000;

/// A happening with copies of its referenced data.
struct Recorded {
    board_happening happening{};
    board_truth truth{};
    board_step step{};
    board_stamp stamp{};
    board_child child{};
    board_event_config event{};
    board_fault_outcome outcome{};
    std::vector<std::uint8_t> record;
    std::string text;
};

/// Switches on a board from `config` at the first call; the test controls raw time.
class BoardFixture : public ::testing::Test {
protected:
    BoardFixture();

    void addInterface(const char* name, std::int32_t phcIndex);
    void addEvent(std::uint64_t atNs, board_event_kind kind, int target, std::int64_t value = 0);
    board* on();  ///< The board; switched on from `config` if needed.
    std::vector<Recorded> of(board_happening_kind kind) const;
    std::int64_t difference(std::uint64_t rawNs, int clock);
    int arm(std::uint64_t rawNs, int interface);       ///< Pin 0 to external time stamps, stamping on; first error.
    std::uint64_t generateEpoch(std::uint64_t rawNs);  ///< Returns the master's time.
    board_driver_call driverCall(std::uint64_t rawNs, int driver, std::uint32_t request, std::uint64_t argument = 0);
    void steer(std::uint64_t rawNs, std::int64_t ppt);  ///< Through the oscillator's attribute.
    int event(std::uint64_t rawNs, board_event_kind kind, int target, std::int64_t value = 0);

    board_config config;
    std::vector<Recorded> happenings;

private:
    static void observe(void* context, const board_happening* happening);

    std::unique_ptr<std::uint64_t[]> storage_;
    board* board_ = nullptr;
};

}  // namespace halvexboard

#endif
