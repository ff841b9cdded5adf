// A simulated controller with the built library on it: the fixture of whole-plug-in stories.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "include/zuqxmtk.h"
#include "tests/stories/backend.h"
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"
#include "tests/support/usualBoard.h"

namespace stories {

/// The seed of this run: HALVEX_SEED, or 1. Every story prints it.
std::uint64_t seedOfRun();

/// A status record that the FPGA received.
struct StatusRecord {
    bool isNotAligned = false;
    std::uint32_t referenceKind = 0;
    std::optional<std::int32_t> referenceOffset;
    std::optional<std::int32_t> utcOffset;
};

/// A fault of a driver's or a clock's request as scenario text; `rest` are its further lines.
inline std::string requestFault(const std::string& target, const std::string& request, const std::string& rest) {
    return "[[fault]]\ncall = \"ioctl\"\ntarget = \"" + target + "\"\nrequest = \"" + request + "\"\n" + rest + "\n";
}

/// A board that is on for one test, and a host that calls the library on it. Threads: one.
class Controller : public testing::Test {
protected:
    static constexpr std::int64_t kToleranceNs = 100;  ///< The goal of the alignment.

    Controller();
    ~Controller() override;

    /// Switches on the usual board with `further` scenario text appended, or another board.
    void switchOn(std::string_view further = "", std::string_view usual = testsupport::kUsualBoard);
    /// The usual board with `key` inserted after the line `line` of its scenario.
    static std::string usualBoardWith(const std::string& line, const std::string& key);
    void restart(std::uint64_t seed);  ///< Switches off and on again: another run of the same scenario.

    void initialize();
    std::int32_t initializeAndCatch();
    /// Switches on and initialises.
    void start(std::string_view further = "", std::string_view usual = testsupport::kUsualBoard) {
        switchOn(further, usual);
        initialize();
    }
    /// Calls `function` with a fresh status; returns its code.
    template <typename Function>
    std::int32_t codeOf(Function&& function) {
        testsupport::StatusHolder status;
        function(status.get());
        lastText_ = status.getText();
        return status->code;
    }
    std::string lastMessage() const;  ///< Of codeOf's last call.

    std::int32_t snapTime(std::int64_t offsetNs);
    std::int32_t setCorrection(std::int32_t ppb);
    std::int32_t applyMetaData(const char* metadata);
    std::int32_t readTime();  ///< Into time_.
    std::uint64_t getTime();  ///< Fails the test if the call fails.

    void waitS(double seconds) { backend_->waitS(seconds); }
    void doEvent(const std::string& kind, const std::string& target, std::int64_t value = 0) {
        backend_->doEvent(kind, target, value);
    }
    /// Adds the fault in this scenario text to the running board.
    void addFault(const std::string& table);
    void clear() { backend_->clear(); }

    Truth truth() { return backend_->truth(); }
    std::int64_t differenceNs(const std::string& clock) { return truth()[clock].differenceNs; }
    /// Checks every clock in use except the system clock, which phc2sys disciplines at its own pace.
    void expectAligned();
    /// Checks the system clock against the clock that phc2sys follows.
    void expectSystemTimeWithin(std::int64_t boundNs);
    Seen seen() { return backend_->seen(); }
    std::vector<StatusRecord> statusRecords();
    std::vector<std::string> syslogLines();
    long countSyslog(const std::string& part);
    std::vector<std::string> phc2sysSources() { return backend_->phc2sysSources(); }

    std::uint64_t seed_ = seedOfRun();
    std::unique_ptr<Backend> backend_;
    board_config config_{};
    std::string scenario_;
    std::string lastText_;
    std::uint64_t time_ = 0;
};

}  // namespace stories
