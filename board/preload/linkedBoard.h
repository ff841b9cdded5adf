// The board linked into a test executable: the shims are part of the program, and a test says when a board is on.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "board/model/board.h"

namespace halvexboard {

struct LinkedBoardOptions {
    std::optional<std::uint64_t> seed;  ///< Instead of the scenario's.
    bool virtualTime = true;
    /// One thread at a time, deterministic. Needs the thread shims in the program (link halvexboard_threads); by
    /// default it follows from their being there.
    std::optional<bool> withScheduler;
    bool console = false;  ///< Syslog lines and faults on stderr as they happen.
};

/// One simulated board in this process. While it lives, the C library's functions named in docs/board.md answer from
/// it. Owns: the model and the trace. Threads: made and destroyed by one thread, with no other program thread left at
/// the end; everything else is thread-safe. One at a time: a second one throws std::logic_error. Failure: the
/// constructor throws ScenarioError for a scenario that is wrong, std::runtime_error when the board cannot start.
class LinkedBoard {
public:
    explicit LinkedBoard(std::string_view scenarioText, const LinkedBoardOptions& options = {});
    explicit LinkedBoard(const board_config& config, const LinkedBoardOptions& options = {});
    ~LinkedBoard();
    LinkedBoard(const LinkedBoard&) = delete;
    LinkedBoard& operator=(const LinkedBoard&) = delete;

    /// Switches the board off and on again in its first state; the trace starts anew, descriptors mean nothing any
    /// more.
    void reset();
    void reset(std::uint64_t seed);

    /// The present instant, in ns since the board was switched on.
    std::uint64_t rawNs() const;
    /// Lets virtual time pass, as a sleep of the calling thread.
    void sleepNs(std::uint64_t ns);

    /// Runs `action` with the model and the present instant, nobody else touching the board meanwhile.
    void withModel(const std::function<void(board&, std::uint64_t rawNs)>& action);
    /// Every clock at the present instant.
    board_truth truth();
    /// The true difference of one clock to the master, in ns.
    std::int64_t differenceNs(int clock);
    /// Lets an event happen now. False when the event cannot concern that target.
    bool doEvent(board_event_kind kind, int target, std::int64_t value = 0);

    /// The trace so far, one JSON object each, without the newlines.
    std::vector<std::string> trace() const;
    /// The same as one text, as a trace file has it.
    std::string traceText() const;
    /// Texts of the syslog lines so far, in order.
    std::vector<std::string> syslogLines() const;
    void clearTrace();

private:
    void start();

    board_config config_;
    LinkedBoardOptions options_;
};

}  // namespace halvexboard
