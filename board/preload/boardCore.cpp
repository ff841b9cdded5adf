// The running board of this process: its time, its sink, the frame around every device call.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/boardCore.h"

#include <sys/syscall.h>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "board/preload/console.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/traceFile.h"

namespace halvexboard {

namespace {

/// Virtual CLOCK_MONOTONIC starts here, not at 0, so that a program can subtract from it without going below 0.
constexpr std::uint64_t kMonotonicAtStartNs = 1'000 * kNsPerSecond;

// Of this process.
int consoleFd = -1;
HappeningSink sink;

std::uint64_t realClockNs(clockid_t clock) noexcept {
    timespec now{};
    rawSystemCall(SYS_clock_gettime, clock, reinterpret_cast<long>(&now));
    return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(now.tv_nsec);
}

void observe(void*, const board_happening* happening) noexcept REQUIRES(boardLock()) {
    if (sink.take != nullptr) sink.take(sink.context, *happening);
    if (consoleFd < 0 || !isForConsole(*happening)) return;
    writeTrace();  // a reader of the line may look into the trace at once and must find everything up to here
    showOnConsole(consoleFd, *happening);
}

void jumpTo(std::uint64_t rawNs) noexcept REQUIRES(boardLock()) {
    if (rawNs > coreInUse->virtualNs.load(std::memory_order_relaxed))
        coreInUse->virtualNs.store(rawNs, std::memory_order_relaxed);
    board_advance(model(), rawNs);
    scheduler().wake(scheduler().modelKey(), static_cast<int>(Scheduler::kMaxThreads));
}

std::uint64_t hookNextChange() noexcept REQUIRES(boardLock()) { return board_next_change(model()); }

std::uint64_t hookSystem() noexcept REQUIRES(boardLock()) { return board_system_get_time(model(), rawNow()); }

TimeHooks hooksWith(const CoreOptions& options) noexcept {
    return {rawNow, hookSystem, hookNextChange, jumpTo, options.lookAfterOthers, options.beginTurn};
}

}  // namespace

bool startCore(const board_config& config, const CoreOptions& options) noexcept {
    const LockGuard guard(boardLock());
    coreInUse->virtualTime = options.virtualTime;
    coreInUse->withScheduler = options.withScheduler && options.virtualTime;
    coreInUse->virtualNs.store(0, std::memory_order_relaxed);
    coreInUse->realStartNs = realClockNs(CLOCK_MONOTONIC_RAW);
    sink = options.sink;
    consoleFd = options.consoleFd;
    if (board_init(coreInUse->model, &config, observe, nullptr) == nullptr) return false;
    if (coreInUse->withScheduler) scheduler().start(hooksWith(options));
    coreInUse->isOn = true;
    coreActive.store(true, std::memory_order_release);
    return true;
}

void joinCore(const CoreOptions& options, std::uint16_t process) noexcept {
    sink = options.sink;
    consoleFd = options.consoleFd;
    Scheduler::join(hooksWith(options), process);
    coreActive.store(true, std::memory_order_release);
}

void stopCore() noexcept {
    const LockGuard guard(boardLock());
    coreActive.store(false, std::memory_order_release);
    if (coreInUse->withScheduler) scheduler().stop();
    coreInUse->isOn = false;
}

board* model() noexcept {
    auto* const shared = reinterpret_cast<board*>(coreInUse->model);
    board_observe(shared, observe, nullptr);  // another process may have been the last
    return shared;
}

bool isTimeVirtual() noexcept { return coreInUse->virtualTime; }

std::uint64_t rawNow() noexcept {
    if (coreInUse->virtualTime) return coreInUse->virtualNs.load(std::memory_order_relaxed);
    return realClockNs(CLOCK_MONOTONIC_RAW) - coreInUse->realStartNs;
}

std::uint64_t monotonicNow() noexcept {
    return coreInUse->virtualTime ? kMonotonicAtStartNs + rawNow() : realClockNs(CLOCK_MONOTONIC);
}

std::uint64_t rawFromMonotonic(std::uint64_t monotonicNs) noexcept {
    if (coreInUse->virtualTime) return monotonicNs > kMonotonicAtStartNs ? monotonicNs - kMonotonicAtStartNs : 0;
    const std::uint64_t now = monotonicNow();
    return monotonicNs > now ? rawNow() + (monotonicNs - now) : rawNow();
}

std::uint64_t systemNow() noexcept {
    const LockGuard guard(boardLock());
    return board_system_get_time(model(), rawNow());
}

void spend(std::uint64_t ns) noexcept {
    if (!coreInUse->virtualTime) return;
    if (coreInUse->withScheduler && ns >= Scheduler::kSliceNs && Scheduler::self() != nullptr) {
        scheduler().wait(nullptr, Deadline::atRaw(rawNow() + ns), false);
        return;
    }
    {
        const LockGuard guard(boardLock());
        coreInUse->virtualNs.fetch_add(ns, std::memory_order_relaxed);
        if (board_next_change(model()) <= rawNow()) jumpTo(rawNow());
    }
    if (coreInUse->withScheduler && Scheduler::self() != nullptr) scheduler().yieldWhenSliceIsSpent();
}

void tellModelChanged() noexcept { scheduler().wake(scheduler().modelKey(), static_cast<int>(Scheduler::kMaxThreads)); }

// ------------------------------------------------------------------------------------------------------ DeviceCall --

DeviceCall::DeviceCall(board_call_kind kind, int target, board_file file, std::uint32_t detail) noexcept {
    if (isBoardShared()) scheduler().rejoin();
    boardLock().lock();
    call_.kind = kind;
    call_.target = target;
    call_.file = file;
    call_.detail = detail;
    outcome_.short_count = -1;
    rawNs_ = rawNow();
}

DeviceCall::~DeviceCall() {
    if (!finished_) finish();
}

DeviceCall& DeviceCall::with(std::int64_t argument) noexcept {
    if (call_.argument_count < sizeof call_.arguments / sizeof call_.arguments[0])
        call_.arguments[call_.argument_count++] = argument;
    return *this;
}

bool DeviceCall::isFaulted() noexcept {
    if (board_fault_due(model(), rawNs_, &call_, &outcome_) == 0) {
        outcome_ = {};
        outcome_.short_count = -1;
        return false;
    }
    if (outcome_.kills != 0) rawSystemCall(SYS_kill, rawSystemCall(SYS_getpid), SIGKILL);
    if (outcome_.error == 0) return false;
    fail(outcome_.error);
    return true;
}

std::uint64_t DeviceCall::latchNs() const noexcept {
    return coreInUse->virtualTime ? rawNs_ + board_call_cost(model(), &call_) / 2 : rawNs_;
}

void DeviceCall::succeed(std::int64_t result) noexcept {
    call_.result = result < 0 ? -1 : result;
    call_.error = result < 0 ? static_cast<std::int32_t>(-result) : 0;
}

int DeviceCall::finishWithError() noexcept {
    finished_ = true;
    const std::uint64_t costNs = board_call_cost(model(), &call_) + outcome_.delay_ns + extraNs_;
    board_tell_call(model(), rawNs_, &call_);
    boardLock().unlock();
    spend(costNs);
    return call_.error;
}

long DeviceCall::finish() noexcept {
    const int error = finishWithError();
    if (error != 0) errno = error;
    return static_cast<long>(call_.result);
}

}  // namespace halvexboard
