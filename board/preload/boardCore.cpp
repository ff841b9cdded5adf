// The running board of this process: its time, its sink, the frame around every device call.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/boardCore.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <cerrno>
#include <cstring>

#include "board/preload/console.h"
#include "board/preload/nanoseconds.h"

namespace halvexboard {

namespace {

/// Virtual CLOCK_MONOTONIC starts here, not at 0, so that a program can subtract from it without going below 0.
constexpr std::uint64_t kMonotonicAtStartNs = 1'000 * kNsPerSecond;

struct Core {
    board* model GUARDED_BY(boardLock()) = nullptr;
    void* memory = nullptr;
    std::size_t memorySize = 0;
    bool virtualTime = true;
    bool withScheduler = false;
    int consoleFd = -1;
    HappeningSink sink;
    std::atomic<std::uint64_t> virtualNs{0};
    std::uint64_t realStartNs = 0;
};

constinit Core core;

std::uint64_t realClockNs(clockid_t clock) noexcept {
    timespec now{};
    rawSystemCall(SYS_clock_gettime, clock, reinterpret_cast<long>(&now));
    return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(now.tv_nsec);
}

void observe(void*, const board_happening* happening) noexcept REQUIRES(boardLock()) {
    if (core.sink.take != nullptr) core.sink.take(core.sink.context, *happening);
    if (core.consoleFd >= 0 && isForConsole(*happening)) showOnConsole(core.consoleFd, *happening);
}

void jumpTo(std::uint64_t rawNs) noexcept REQUIRES(boardLock()) {
    if (rawNs > core.virtualNs.load(std::memory_order_relaxed)) core.virtualNs.store(rawNs, std::memory_order_relaxed);
    board_advance(core.model, rawNs);
    scheduler().wake(scheduler().modelKey(), static_cast<int>(Scheduler::kMaxThreads));
}

std::uint64_t hookNextChange() noexcept REQUIRES(boardLock()) { return board_next_change(core.model); }

std::uint64_t hookSystem() noexcept REQUIRES(boardLock()) { return board_system_get_time(core.model, rawNow()); }

}  // namespace

bool startCore(const board_config& config, const CoreOptions& options) noexcept {
    const LockGuard guard(boardLock());
    core.memorySize = board_size();
    // Anonymous memory instead of the heap keeps the board out of the program's allocation counters. A raw system call,
    // because mmap is itself interposed.
    const long mapped = rawSystemCall(SYS_mmap, 0, static_cast<long>(core.memorySize), PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped < 0) return false;
    core.memory = reinterpret_cast<void*>(mapped);
    core.virtualTime = options.virtualTime;
    core.withScheduler = options.withScheduler && options.virtualTime;
    core.consoleFd = options.consoleFd;
    core.sink = options.sink;
    core.virtualNs.store(0, std::memory_order_relaxed);
    core.realStartNs = realClockNs(CLOCK_MONOTONIC_RAW);
    core.model = board_init(core.memory, &config, observe, nullptr);
    if (core.model == nullptr) {
        munmap(core.memory, core.memorySize);
        return false;
    }
    if (core.withScheduler) scheduler().start({rawNow, hookSystem, hookNextChange, jumpTo});
    coreActive.store(true, std::memory_order_release);
    return true;
}

void stopCore() noexcept {
    const LockGuard guard(boardLock());
    coreActive.store(false, std::memory_order_release);
    if (core.withScheduler) scheduler().stop();
    core.model = nullptr;
    munmap(core.memory, core.memorySize);
}

board* model() noexcept { return core.model; }

bool isTimeVirtual() noexcept { return core.virtualTime; }

std::uint64_t rawNow() noexcept {
    if (core.virtualTime) return core.virtualNs.load(std::memory_order_relaxed);
    return realClockNs(CLOCK_MONOTONIC_RAW) - core.realStartNs;
}

std::uint64_t monotonicNow() noexcept {
    return core.virtualTime ? kMonotonicAtStartNs + rawNow() : realClockNs(CLOCK_MONOTONIC);
}

std::uint64_t rawFromMonotonic(std::uint64_t monotonicNs) noexcept {
    if (core.virtualTime) return monotonicNs > kMonotonicAtStartNs ? monotonicNs - kMonotonicAtStartNs : 0;
    const std::uint64_t now = monotonicNow();
    return monotonicNs > now ? rawNow() + (monotonicNs - now) : rawNow();
}

std::uint64_t systemNow() noexcept {
    const LockGuard guard(boardLock());
    return board_system_get_time(core.model, rawNow());
}

void spend(std::uint64_t ns) noexcept {
    if (!core.virtualTime) return;
    if (core.withScheduler && ns >= Scheduler::kSliceNs && Scheduler::self() != nullptr) {
        scheduler().wait(nullptr, Deadline::atRaw(rawNow() + ns), false);
        return;
    }
    {
        const LockGuard guard(boardLock());
        core.virtualNs.fetch_add(ns, std::memory_order_relaxed);
        if (board_next_change(core.model) <= rawNow()) jumpTo(rawNow());
    }
    if (core.withScheduler && Scheduler::self() != nullptr) scheduler().yieldWhenSliceIsSpent();
}

void tellModelChanged() noexcept { scheduler().wake(scheduler().modelKey(), static_cast<int>(Scheduler::kMaxThreads)); }

// ------------------------------------------------------------------------------------------------------ DeviceCall --

DeviceCall::DeviceCall(board_call_kind kind, int target, board_file file, std::uint32_t detail) noexcept {
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
    if (board_fault_due(core.model, rawNs_, &call_, &outcome_) == 0) {
        outcome_ = {};
        outcome_.short_count = -1;
        return false;
    }
    if (outcome_.error == 0) return false;
    fail(outcome_.error);
    return true;
}

std::uint64_t DeviceCall::latchNs() const noexcept {
    return core.virtualTime ? rawNs_ + board_call_cost(core.model, &call_) / 2 : rawNs_;
}

void DeviceCall::succeed(std::int64_t result) noexcept {
    call_.result = result < 0 ? -1 : result;
    call_.error = result < 0 ? static_cast<std::int32_t>(-result) : 0;
}

int DeviceCall::finishWithError() noexcept {
    finished_ = true;
    const std::uint64_t costNs = board_call_cost(core.model, &call_) + outcome_.delay_ns + extraNs_;
    board_tell_call(core.model, rawNs_, &call_);
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
