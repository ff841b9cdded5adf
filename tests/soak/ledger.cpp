// The account of every fault.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/ledger.h"

#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/ptp.h"
#include "tests/support/errorCodes.h"

namespace soak {
namespace {

using namespace testsupport;

constexpr std::int32_t kSilent = 0;

/// By its number, not by its target: a descriptor number may refer to another device by now.
bool isRequestOfDriver(std::uint32_t request) noexcept { return (request >> 8 & 0xFF) == 'u'; }

std::int32_t codeOfDriverRequest(const board_call& call, const board_fault_outcome& outcome) noexcept {
    const std::int32_t code = outcome.error != 0 ? platformCode(outcome.error) : outcome.driver_status;
    if (code > 0) return kSilent;  // a warning
    // The FPGA's time is only read to check its presence; absence is a valid answer.
    const bool asksWhetherThere = call.detail == BOARD_WIRE_FPGA_GET_TIME;
    return asksWhetherThere && code == kNotFound ? kSilent : code;
}

/// A released clock is switched off as far as possible. These are the first requests on a clock after anything but work
/// with its events or capabilities.
bool isPartingRequest(const board_call& call, const board_call& previous) noexcept {
    if (call.detail != BOARD_WIRE_PTP_PIN_SETFUNC) return false;
    const bool isAtWork = previous.target == call.target && previous.file == BOARD_FILE_PTP &&
                          (previous.kind == BOARD_CALL_SELECT || previous.kind == BOARD_CALL_READ ||
                           (previous.kind == BOARD_CALL_IOCTL && previous.detail != BOARD_WIRE_PTP_EXTTS_REQUEST));
    return !isAtWork;
}

std::int32_t codeOfRead(const board_call& call, const board_fault_outcome& outcome) noexcept {
    const bool isShort = outcome.error == 0;
    switch (call.file) {
        case BOARD_FILE_VENDOR:
        case BOARD_FILE_DEVICE:
            return kSilent;  // then it is not an I210
        case BOARD_FILE_NAME:
            return isShort ? kSilent : kCommunications;
        // An empty text is not a number; a truncated one is another number.
        case BOARD_FILE_PPB_OFFSET:
            return !isShort ? kCommunications : outcome.short_count == 0 ? kSoftwareFault : kSilent;
        default:
            return kCommunications;
    }
}

std::int32_t codeOfOpen(const board_call& call, const board_fault_outcome& outcome) noexcept {
    switch (call.file) {
        case BOARD_FILE_VENDOR:
        case BOARD_FILE_DEVICE:
            return kSilent;
        case BOARD_FILE_NODE:
            return platformCode(outcome.error);
        case BOARD_FILE_PTP:
            return kCommunications;
        default:
            return kNotFound;
    }
}

}  // namespace

std::int32_t codeDue(const board_call& call, const board_call& previous, const board_fault_outcome& outcome) noexcept {
    switch (call.kind) {
        case BOARD_CALL_OPEN:
            return codeOfOpen(call, outcome);
        case BOARD_CALL_READ:
            return codeOfRead(call, outcome);
        case BOARD_CALL_IOCTL:
            if (isRequestOfDriver(call.detail)) return codeOfDriverRequest(call, outcome);
            return isPartingRequest(call, previous) ? kSilent : kCommunications;
        case BOARD_CALL_SELECT:
            // "Nothing ready" is not a failure of a mere check.
            if (outcome.error == 0) return call.arguments[0] == 0 ? kSilent : kTimedOut;
            return kCommunications;
        case BOARD_CALL_SOCKET:
        case BOARD_CALL_CLOCK_ADJTIME:
        case BOARD_CALL_LSEEK:
        case BOARD_CALL_FREAD:
            return kCommunications;
        case BOARD_CALL_CLOCK_GETTIME:
            return call.target == BOARD_TARGET_SYSTEM ? kOsFault : kCommunications;
        case BOARD_CALL_CLOCK_SETTIME:
        case BOARD_CALL_POSIX_SPAWN:
            return kOsFault;
        case BOARD_CALL_OPENDIR:
            return call.target == BOARD_TARGET_SI514 ? kNotFound : kUnsupported;
        case BOARD_CALL_READDIR:
            return call.target == BOARD_TARGET_SI514 ? kNotFound : kSilent;  // a shorter list
        case BOARD_CALL_GLOB:
            return kSoftwareFault;
        // Retried ten and five times; a failed attempt is not reported.
        case BOARD_CALL_FOPEN:
        case BOARD_CALL_WRITE:
            return kSilent;
        // A failed release and a short pause are not reported.
        default:
            return kSilent;
    }
}

namespace {

/// A thread's recent activity and unreported fault.
struct ThreadPage {
    board_call previous{};
    std::int32_t codeDue = 0;
    bool isCallOver = true;  ///< The failed call has returned.
    board_call failed{};
    bool isHost = false;
    bool isInitializing = false;
};

thread_local ThreadPage page;

bool isErrorLine(std::string_view text) noexcept {
    return text.starts_with("Encountered error in zuqxmtk_") ||
           text.starts_with("Encountered err while trying to sync ") ||
           text.starts_with("Monitoring thread encountered an error: ");
}

Ledger theLedger;

std::string describe(const board_call& call) {
    return std::string("call ") + board_call_kind_name(call.kind) + " target " + std::to_string(call.target) +
           " file " + std::to_string(call.file) + " detail " + std::to_string(call.detail);
}

}  // namespace

Ledger& ledger() noexcept { return theLedger; }

void Ledger::fault(std::int32_t code) noexcept {
    if (code == kSilent) {
        ++silent_;
        return;
    }
    if (page.codeDue != 0) violate("a fault came before the line of the one before: " + describe(page.failed));
    page.codeDue = code;
    ++outstanding_;
}

void Ledger::faultInjected(const board_call& call, const board_fault_outcome& outcome) noexcept {
    const std::int32_t code = soak::codeDue(call, page.previous, outcome);
    if (code != kSilent) {
        page.failed = call;
        page.isCallOver = false;
    }
    fault(code);
}

void Ledger::threadRefused() noexcept {
    page.failed = {};
    fault(kCodeOfNoThread);
}

void Ledger::callMade(const board_call& call, std::uint64_t rawNs) noexcept {
    digest(rawNs);
    digest(static_cast<std::uint64_t>(call.kind) << 40 | static_cast<std::uint64_t>(call.target) << 32 | call.detail);
    digest(static_cast<std::uint64_t>(call.result));
    ++calls_;
    page.previous = call;
    if (page.codeDue == 0 || call.kind == BOARD_CALL_CLOSE || page.isInitializing) return;
    if (!page.isCallOver) {
        page.isCallOver = true;
        return;
    }
    violate("no line for " + describe(page.failed) + ", the thread went on with " + describe(call));
}

void Ledger::lineWritten(std::string_view text) noexcept {
    auto& kept = lastLines_[lastLine_++ % kLastLines];
    const std::size_t length = std::min(text.size(), kept.size() - 1);
    std::memcpy(kept.data(), text.data(), length);
    kept[length] = '\0';
    if (!isErrorLine(text)) return;
    ++errorLines_;
    if (page.codeDue == 0) return;
    char expected[32];
    std::snprintf(expected, sizeof expected, ": FAIL(%d,", page.codeDue);
    if (text.find(expected) == std::string_view::npos) {
        violate("after " + describe(page.failed) + " came, instead of code " + std::to_string(page.codeDue) + ": " +
                std::string(text));
    }
    page.codeDue = 0;
    --outstanding_;
    ++told_;
}

void Ledger::hostCallBegins(bool isInitialize) noexcept {
    page.isHost = true;
    page.isInitializing = isInitialize;
}

void Ledger::hostCallEnded() noexcept {
    page.isInitializing = false;
    if (page.codeDue != 0) violate("a call of the host returned without a line for " + describe(page.failed));
    page.codeDue = 0;
}

void Ledger::violate(const std::string& text) noexcept {
    if (violation_.empty()) violation_ = text;
}

void Ledger::printLastLines() const {
    for (std::size_t line = 0; line < kLastLines; ++line) {
        const auto& text = lastLines_[(lastLine_ + line) % kLastLines];
        if (text[0] != '\0') std::fprintf(stderr, "  %s\n", text.data());
    }
}

}  // namespace soak
