// The board beneath a story, whichever it is: the one linked into the program, or the module of a guest's kernel.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "board/model/board.h"

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

/// A step that the library asked a clock of the board for.
struct Step {
    std::string clock;
    std::int64_t askedNs = 0;
};

/// What the board has seen since the last clear().
struct Seen {
    std::vector<Step> steps;
    std::vector<std::string> statusRecords;  ///< As the FPGA received them, hexadecimal.
    std::vector<std::int64_t> alignmentRequests;
    int epochs = 0;
};

/// One board, off at first. Threads: one. Failure: std::runtime_error when it refuses.
class Backend {
public:
    virtual ~Backend() = default;

    /// Whether every call takes the time that the model says: ranges are narrow, and counts exact.
    virtual bool isExact() const = 0;
    virtual int seedsOfAStory() const = 0;  ///< How many seeds a story that tries many of them can afford.

    virtual void switchOn(const board_config& config) = 0;
    virtual void switchOff() = 0;
    virtual void waitS(double seconds) = 0;
    /// Lets an event of a scenario happen now.
    virtual void doEvent(const std::string& kind, const std::string& target, std::int64_t value) = 0;
    virtual void addFault(const board_fault_config& fault) = 0;

    virtual Truth truth() = 0;
    virtual Seen seen() = 0;
    virtual std::vector<LogLine> log() = 0;
    virtual std::vector<std::string> phc2sysSources() = 0;  ///< What each living phc2sys follows.
    virtual void clear() = 0;                               ///< Forgets what was seen and logged.
};

std::unique_ptr<Backend> makeBackend();

}  // namespace stories
