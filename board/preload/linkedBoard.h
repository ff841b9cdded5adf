// The board linked into a test executable: the shims are part of the program, and a test switches the board on.
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
    /// One thread at a time, deterministic. Requires the thread shims (link halvexboard_threads); defaults to whether
    /// they are linked.
    std::optional<bool> withScheduler;
    bool console = false;  ///< Syslog lines and faults on stderr as they happen.
};

/// One simulated board in this process. While it exists, the C library functions named in docs/board.md are answered by
/// it. Owns: the model and the trace. Threads: constructed and destroyed by one thread, with no other program thread
/// left at the end; everything else is thread-safe. One at a time: a second one throws std::logic_error. Failure: the
/// constructor throws ScenarioError for an invalid scenario, std::runtime_error if the board cannot start.
class LinkedBoard {
public:
    explicit LinkedBoard(std::string_view scenarioText, const LinkedBoardOptions& options = {});
    explicit LinkedBoard(const board_config& config, const LinkedBoardOptions& options = {});
    ~LinkedBoard();
    LinkedBoard(const LinkedBoard&) = delete;
    LinkedBoard& operator=(const LinkedBoard&) = delete;

    /// Restarts the board in its initial state; the trace starts empty and old descriptors are dead.
    void reset();
    void reset(std::uint64_t seed);

    /// The present instant, in ns since the board was switched on.
    std::uint64_t rawNs() const;
    /// Spends virtual time as a sleep of the calling thread.
    void sleepNs(std::uint64_t ns);

    /// Runs `action` with the model and the present instant, under the board's lock.
    void withModel(const std::function<void(board&, std::uint64_t rawNs)>& action);
    /// Every clock at the present instant.
    board_truth truth();
    /// The true difference of one clock to the master, in ns.
    std::int64_t differenceNs(int clock);
    /// Carries out an event now. Returns false if the target cannot have it.
    bool doEvent(board_event_kind kind, int target, std::int64_t value = 0);

    /// The trace so far, one JSON object per entry, without newlines.
    std::vector<std::string> trace() const;
    /// The same as one text, like a trace file.
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
