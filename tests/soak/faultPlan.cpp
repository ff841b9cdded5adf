// Chooses which call fails, and how.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/faultPlan.h"

#include <span>

namespace soak {
namespace {

constexpr int kBeyondTable = 131;  // the first errno without a code of its own
constexpr int kFarBeyondTable = 133;

constexpr int kOpen[] = {ENOENT, EACCES, EPERM, EMFILE, ENFILE, ENODEV, ENXIO, EBUSY, EINTR, ENOMEM};
constexpr int kClose[] = {EINTR, EIO};
constexpr int kRead[] = {EINTR, EIO, EAGAIN};
constexpr int kReadCounts[] = {0, 1, 31};
constexpr int kWrite[] = {EINTR, EIO, EINVAL, ENODEV, ENOSPC};
constexpr int kWriteCounts[] = {0, 1};
constexpr int kSeek[] = {EINVAL, ESPIPE, EBADF};
constexpr int kSeekCounts[] = {5};
constexpr int kRequest[] = {EINTR, EIO,    EINVAL, ENOTTY,    ENODEV,       EBUSY,          EOPNOTSUPP,
                            EPERM, EFAULT, ENOMEM, ETIMEDOUT, kBeyondTable, kFarBeyondTable};
constexpr int kDriverStatus[] = {-52024, -52006, -52007, 7};
constexpr int kSelect[] = {EINTR, EBADF, EINVAL, ENOMEM};
constexpr int kSelectCounts[] = {0};
constexpr int kSocket[] = {EACCES, EPERM, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM};
constexpr int kReadClock[] = {EINVAL, EFAULT, EPERM};
constexpr int kSetClock[] = {EPERM, EINVAL, EFAULT};
constexpr int kAdjustClock[] = {EINVAL, EPERM, ENODEV, EBUSY, ERANGE, EOPNOTSUPP};
constexpr int kOpenDirectory[] = {ENOENT, EACCES, EMFILE, ENFILE, ENOMEM, EINTR};
constexpr int kReadDirectory[] = {EBADF, ENOENT};
constexpr int kGlob[] = {ENOMEM, EACCES};
constexpr int kReadStream[] = {EIO, EINTR};
constexpr int kSpawn[] = {ENOENT, EACCES, EAGAIN, ENOMEM};
constexpr int kKill[] = {ESRCH, EPERM};
constexpr int kSleep[] = {EINTR};
constexpr int kStartThread[] = {EAGAIN, EPERM};

/// The possible outcomes of one kind of call: an errno, a short result, or a driver's answer.
struct Outcomes {
    std::span<const int> errors;
    std::span<const int> counts{};
    std::span<const int> statuses{};
};

constexpr struct {
    board_call_kind kind;
    Outcomes outcomes;
} kOutcomes[] = {
    {BOARD_CALL_OPEN, {kOpen}},
    {BOARD_CALL_FOPEN, {kOpen}},
    {BOARD_CALL_CLOSE, {kClose}},
    {BOARD_CALL_READ, {kRead, kReadCounts}},
    {BOARD_CALL_WRITE, {kWrite, kWriteCounts}},
    {BOARD_CALL_LSEEK, {kSeek, kSeekCounts}},
    {BOARD_CALL_IOCTL, {kRequest}},
    {BOARD_CALL_SELECT, {kSelect, kSelectCounts}},
    {BOARD_CALL_SOCKET, {kSocket}},
    {BOARD_CALL_CLOCK_GETTIME, {kReadClock}},
    {BOARD_CALL_CLOCK_SETTIME, {kSetClock}},
    {BOARD_CALL_CLOCK_ADJTIME, {kAdjustClock}},
    {BOARD_CALL_OPENDIR, {kOpenDirectory}},
    {BOARD_CALL_READDIR, {kReadDirectory}},
    {BOARD_CALL_GLOB, {kGlob}},
    {BOARD_CALL_FREAD, {kReadStream}},
    {BOARD_CALL_POSIX_SPAWN, {kSpawn}},
    {BOARD_CALL_KILL, {kKill}},
    {BOARD_CALL_NANOSLEEP, {kSleep}},
};

Outcomes outcomesOf(const board_call& call) noexcept {
    const bool isDriver = call.target == BOARD_TARGET_FERROX || call.target == BOARD_TARGET_FPGA;
    if (isDriver && call.kind == BOARD_CALL_IOCTL) return {kRequest, {}, kDriverStatus};
    for (const auto& row : kOutcomes)
        if (row.kind == call.kind) return row.outcomes;
    return {};
}

}  // namespace

std::uint64_t Random::next() noexcept {  // splitmix64
    std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
}

bool chooseOutcome(Random& random, const board_call& call, board_fault_outcome& outcome) noexcept {
    const Outcomes outcomes = outcomesOf(call);
    const std::size_t total = outcomes.errors.size() + outcomes.counts.size() + outcomes.statuses.size();
    if (total == 0) return false;
    std::size_t chosen = random.below(total);
    outcome = {};
    outcome.short_count = -1;
    if (chosen < outcomes.errors.size()) {
        outcome.error = outcomes.errors[chosen];
        return true;
    }
    chosen -= outcomes.errors.size();
    if (chosen < outcomes.counts.size()) {
        outcome.short_count = outcomes.counts[chosen];
        return true;
    }
    outcome.driver_status = outcomes.statuses[chosen - outcomes.counts.size()];
    return true;
}

int chooseThreadError(Random& random) noexcept { return kStartThread[random.below(std::size(kStartThread))]; }

}  // namespace soak
