// The board under a story: the one linked into the program, or the module in a guest's kernel.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "tests/support/standard.h"

namespace stories {

/// One clock at the instant of a reading.
struct ClockTruth {
    std::int64_t timeNs = 0;
    std::int64_t differenceNs = 0;  ///< To the master.
    bool isEnabled = false;
};

/// Every clock at one instant, the system clock as "system".
struct Truth {
    std::int64_t rawNs = 0;
    std::map<std::string, ClockTruth> clocks;

    const ClockTruth& operator[](const std::string& name) const { return clocks.at(name); }
};

struct LogLine {
    int priority = 0;
    std::string text;
};

/// A step of a board clock that the library requested.
struct Step {
    std::string clock;
    std::int64_t askedNs = 0;
};

/// What the board has recorded since the last clear().
struct Seen {
    std::vector<Step> steps;
    std::vector<std::string> statusRecords;  ///< As the FPGA received them, hexadecimal.
    std::vector<std::int64_t> alignmentRequests;
    int epochs = 0;
};

/// One board, initially off. Threads: one. Failure: throws std::runtime_error.
class Backend {
public:
    virtual ~Backend() = default;

    /// Whether calls take exactly the modelled time: ranges are narrow and counts exact.
    virtual bool isExact() const = 0;
    virtual int seedsOfAStory() const = 0;  ///< Number of seeds for stories that try many.

    virtual void switchOn(const board_config& config) = 0;
    virtual void switchOff() = 0;
    virtual void waitS(double seconds) = 0;
    /// Carries out a scenario event now.
    virtual void doEvent(const std::string& kind, const std::string& target, std::int64_t value) = 0;
    virtual void addFault(const board_fault_config& fault) = 0;

    virtual Truth truth() = 0;
    virtual Seen seen() = 0;
    virtual std::vector<LogLine> log() = 0;
    virtual std::vector<std::string> phc2sysSources() = 0;  ///< The source of each running phc2sys.
    virtual void clear() = 0;                               ///< Discards what was recorded and logged.
};

std::unique_ptr<Backend> makeBackend();

}  // namespace stories
