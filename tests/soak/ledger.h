// The account of every fault: what the library must write to syslog because of it, and whether it does.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "tests/support/standard.h"

namespace soak {

/// The code that must be reported for a fault; 0 if the fault must pass silently. `previous` is the same thread's
/// previous call. Derived from the library's contract, not from its implementation.
std::int32_t codeDue(const board_call& call, const board_call& previous, const board_fault_outcome& outcome) noexcept;
/// The same for a thread that cannot be started.
inline constexpr std::int32_t kCodeOfNoThread = -52003;

/// Matches faults to log lines, thread by thread: between a fault and its line a thread may only close descriptors. A
/// fault in a host call must be reported by the time that call returns. Owns: counters and the last lines, in fixed
/// storage. Threads: called under the board's lock, or by the only running thread. Failure: keeps the first violation.
class Ledger {
public:
    static constexpr std::size_t kLastLines = 12;

    // --- events, on the thread on which they happen ---
    void faultInjected(const board_call& call, const board_fault_outcome& outcome) noexcept;
    void threadRefused() noexcept;
    void callMade(const board_call& call, std::uint64_t rawNs) noexcept;
    void lineWritten(std::string_view text) noexcept;

    // --- notifications by the host ---
    void hostCallBegins(bool isInitialize) noexcept;
    void hostCallEnded() noexcept;

    std::uint64_t callCount() const noexcept { return calls_; }
    std::uint64_t toldCount() const noexcept { return told_; }
    std::uint64_t silentCount() const noexcept { return silent_; }
    /// Faults without a line so far.
    std::uint64_t outstandingCount() const noexcept { return outstanding_; }
    std::uint64_t errorLineCount() const noexcept { return errorLines_; }
    /// Digest of everything that happened, in order.
    std::uint64_t digest() const noexcept { return digest_; }
    void digest(std::uint64_t value) noexcept { digest_ = (digest_ ^ value) * 0x100000001B3U; }

    void violate(const std::string& text) noexcept;
    bool isViolated() const noexcept { return !violation_.empty(); }
    const std::string& violation() const noexcept { return violation_; }
    void printLastLines() const;

private:
    void fault(std::int32_t code) noexcept;

    std::uint64_t calls_ = 0, told_ = 0, silent_ = 0, outstanding_ = 0, errorLines_ = 0;
    std::uint64_t digest_ = 0xCBF29CE484222325U;
    std::string violation_;
    std::array<std::array<char, 320>, kLastLines> lastLines_{};
    std::size_t lastLine_ = 0;
};

Ledger& ledger() noexcept;

}  // namespace soak
