// Hooks between the library and the board.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/calls.h"

#include "board/wire/ptp.h"
#include "board/wire/timex.h"
#include "tests/soak/faultPlan.h"
#include "tests/soak/ledger.h"
#include "tests/soak/threadStart.h"

namespace soak {
namespace {

constinit Random faultRandom{0};
Weather theWeather;
Tally theTally;

bool mayFail() noexcept {
    if (!theWeather.isFaulty) return false;
    if (!theWeather.isInitializing) return true;
    return theTally.faults == 0 && ledger().errorLineCount() == theWeather.errorLinesBefore;
}

bool mayFail(const board_call& call) noexcept {
    if (!mayFail() || call.kind == BOARD_CALL_WAITPID) return false;  // by the host itself
    const bool isOfNothing = call.target == BOARD_TARGET_ANY && call.kind != BOARD_CALL_NANOSLEEP;
    if (isOfNothing) return false;  // cannot be opened anyway
    const bool isRequestOfFpga = call.target == BOARD_TARGET_FPGA && call.kind == BOARD_CALL_IOCTL;
    const bool mayBeReleased = theWeather.isFinalizing || (theWeather.isInitializing && !theWeather.isControllerWhole);
    return !(isRequestOfFpga && mayBeReleased);
}

bool isDue() noexcept { return faultRandom.below(kCallsPerFault) == 0; }

/// A clock refused in construction leaks its descriptor unless the failed request has closed it.
void noteRefusal(const board_call& call, const board_happening& happening) noexcept {
    if (!theWeather.isInitializing || call.file != BOARD_FILE_PTP) return;
    const board_config& config = *board_configuration(happening.where);
    const bool lacksStamps = config.interfaces[call.target - BOARD_TARGET_FIRST_INTERFACE].n_ext_ts == 0;
    const bool looksAtCapabilities = call.kind == BOARD_CALL_IOCTL && call.detail == BOARD_WIRE_PTP_GETCAPS;
    const bool zeroesFrequency = call.kind == BOARD_CALL_CLOCK_ADJTIME && call.detail == BOARD_WIRE_ADJ_FREQUENCY;
    if (looksAtCapabilities && call.error == 0 && lacksStamps) ++theTally.refused;
    if (zeroesFrequency && call.error != 0) ++theTally.refused;
}

void count(const board_call& call) noexcept {
    const bool hasFailed = call.error != 0 || (call.kind == BOARD_CALL_GLOB && call.result != 0);
    if (call.kind == BOARD_CALL_POSIX_SPAWN && !hasFailed) ++theTally.spawned;
    if (!hasFailed) return;
    if (call.kind == BOARD_CALL_KILL) ++theTally.failedKills;
    if (call.kind == BOARD_CALL_IOCTL && call.file == BOARD_FILE_PTP) ++theTally.failedPtpRequests;
    if (call.target == BOARD_TARGET_FPGA && call.kind != BOARD_CALL_IOCTL) ++theTally.failedFpgaLoads;
}

void take(void*, const board_happening& happening) noexcept {
    if (happening.kind == BOARD_HAPPENING_SYSLOG) {
        const std::string_view text(happening.text, happening.text_size);
        if (text.starts_with("Interface ") && text.ends_with(" will be synchronized.")) ++theTally.taken;
        ledger().lineWritten(text);
    } else if (happening.kind == BOARD_HAPPENING_CALL) {
        ledger().callMade(*happening.call, happening.raw_ns);
        noteRefusal(*happening.call, happening);
        count(*happening.call);
    }
}

}  // namespace

void seedFaults(std::uint64_t seed) noexcept {
    faultRandom = Random(seed);
    askBeforeEachThread([] {
        if (!mayFail() || !isDue()) return 0;
        ++theTally.faults;
        ++theTally.threads;
        ledger().threadRefused();
        return chooseThreadError(faultRandom);
    });
}
Weather& weather() noexcept { return theWeather; }
Tally& tally() noexcept { return theTally; }
halvexboard::HappeningSink sink() noexcept { return {take, nullptr}; }

}  // namespace soak

/// Replaces the model's own faults; called before every call on the board, with the board's lock held.
extern "C" int __wrap_board_fault_due(board* board, std::uint64_t, const board_call* call,
                                      board_fault_outcome* outcome) {
    using namespace soak;
    if (!mayFail(*call) || !isDue() || !chooseOutcome(faultRandom, *call, *outcome)) return 0;
    if (outcome->error == 0 && board_present(board, call->target) == 0)
        return 0;  // no driver present to answer otherwise
    ++theTally.faults;
    ledger().faultInjected(*call, *outcome);
    return 1;
}
