// Chooses which call fails, and how.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/faultPlan.h"

#include "tests/faults/catalog.h"

namespace soak {
namespace {

using faults::Call;

/// The calls of the board as the fault sweeps name them: their plausible failures apply here too.
constexpr std::pair<board_call_kind, Call> kCalls[] = {
    {BOARD_CALL_OPEN, Call::open},
    {BOARD_CALL_FOPEN, Call::openStream},
    {BOARD_CALL_CLOSE, Call::close},
    {BOARD_CALL_READ, Call::read},
    {BOARD_CALL_WRITE, Call::write},
    {BOARD_CALL_LSEEK, Call::seek},
    {BOARD_CALL_IOCTL, Call::ioctl},
    {BOARD_CALL_SELECT, Call::select},
    {BOARD_CALL_SOCKET, Call::socket},
    {BOARD_CALL_CLOCK_GETTIME, Call::readClock},
    {BOARD_CALL_CLOCK_SETTIME, Call::setClock},
    {BOARD_CALL_CLOCK_ADJTIME, Call::adjustClock},
    {BOARD_CALL_OPENDIR, Call::openDirectory},
    {BOARD_CALL_READDIR, Call::readDirectory},
    {BOARD_CALL_GLOB, Call::openDirectory},  // the board makes results of its errnos
    {BOARD_CALL_FREAD, Call::closeStream},   // without short counts, which would be another path
    {BOARD_CALL_POSIX_SPAWN, Call::spawn},
    {BOARD_CALL_KILL, Call::kill},
    {BOARD_CALL_NANOSLEEP, Call::sleep},
};

}  // namespace

std::uint64_t Random::next() noexcept {  // splitmix64
    std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
}

bool chooseOutcome(Random& random, const board_call& call, board_fault_outcome& outcome) noexcept {
    const bool isDriver = call.target == BOARD_TARGET_FERROX || call.target == BOARD_TARGET_FPGA;
    for (const auto& [kind, named] : kCalls) {
        if (kind != call.kind) continue;
        const auto& outcomes = faults::outcomesOf(named, isDriver);
        const faults::Outcome& chosen = outcomes[random.below(outcomes.size())];
        outcome = {};
        outcome.error = chosen.error;
        outcome.short_count = chosen.count.value_or(-1);
        outcome.driver_status = chosen.driverStatus;
        return true;
    }
    return false;
}

int chooseThreadError(Random& random) noexcept {
    const auto& outcomes = faults::outcomesOf(Call::startThread, false);
    return outcomes[random.below(outcomes.size())].error;
}

}  // namespace soak
