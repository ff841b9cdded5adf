// The running board of this process: the model, its time, and the frame in which every device call is made.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/model/board.h"
#include "board/preload/futexLock.h"
#include "board/preload/scheduler.h"

namespace halvexboard {

/// Receives the happenings. Called with the board's lock held; must not allocate or call interposed functions.
struct HappeningSink {
    void (*take)(void* context, const board_happening& happening) noexcept = nullptr;
    void* context = nullptr;
};

struct CoreOptions {
    bool virtualTime = true;    ///< Otherwise time is the machine's raw clock since the start.
    bool withScheduler = true;  ///< One thread at a time; needs virtual time and the interposed thread functions.
    int consoleFd = -1;         ///< Receives syslog lines and faults as they happen; -1: none.
    HappeningSink sink;
    void (*lookAfterOthers)() noexcept = nullptr;  ///< See TimeHooks; of a shared board.
    void (*beginTurn)() noexcept = nullptr;
};

/// The part of the board that its processes share. All zero is its initial state.
struct CoreState {
    bool isOn, virtualTime, withScheduler;
    std::atomic<std::uint64_t> virtualNs;
    std::uint64_t realStartNs;
    alignas(64) unsigned char model[BOARD_STORAGE_SIZE];
};
inline constinit CoreState ownCore{};
inline constinit CoreState* coreInUse = &ownCore;  ///< Elsewhere for a board that processes share.

/// Switches the board on. One at a time. Returns false if the configuration exceeds a maximum of the model.
bool startCore(const board_config& config, const CoreOptions& options) noexcept;
/// Comes to a board that another process has switched on.
void joinCore(const CoreOptions& options, std::uint16_t process) noexcept;
void stopCore() noexcept;

/// Whether a board is on; while none is, all calls pass through.
inline std::atomic<bool> coreActive{false};
inline bool isActive() noexcept { return coreActive.load(std::memory_order_acquire); }

/// The model; requires the lock and a board that is on.
board* model() noexcept REQUIRES(boardLock());
bool isTimeVirtual() noexcept;

/// The present instant. Thread-safe; monotonic.
std::uint64_t rawNow() noexcept;
/// CLOCK_MONOTONIC, _RAW and BOOTTIME as the program sees them; with virtual time at a constant offset to the instant.
std::uint64_t monotonicNow() noexcept;
std::uint64_t systemNow() noexcept;
std::uint64_t rawFromMonotonic(std::uint64_t monotonicNs) noexcept;

/// Spends `ns` of virtual time on the calling thread; long stretches are waits, during which others run. Call without
/// the lock. Does nothing in real time.
void spend(std::uint64_t ns) noexcept;

/// Call after a model call that may have made a descriptor readable: wakes its waiters.
void tellModelChanged() noexcept;

/// One call on the board from entry to exit, with the same faults, costs and trace for every kind of call. Holds the
/// lock from construction to finish(). Threads: thread-bound.
///     DeviceCall call(BOARD_CALL_READ, target, file);
///     if (!call.isFaulted()) call.succeed(board_...(model(), call.rawNs(), ...));
///     return call.finish();
class SCOPED_CAPABILITY DeviceCall {
public:
    DeviceCall(board_call_kind kind, int target, board_file file, std::uint32_t detail = 0) noexcept
        ACQUIRE(boardLock());
    ~DeviceCall() RELEASE();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;

    DeviceCall& with(std::int64_t argument) noexcept;
    /// Asks the model once. True: the call must fail with the fault's errno (already set as its result).
    bool isFaulted() noexcept REQUIRES(boardLock());
    /// The byte count of a fault that shortens the call, else -1.
    std::int32_t shortCount() const noexcept { return outcome_.short_count; }
    std::int32_t forcedDriverStatus() const noexcept { return outcome_.driver_status; }

    std::uint64_t rawNs() const noexcept { return rawNs_; }
    /// Midway through the call, when a clock's registers latch the time that the call reads.
    std::uint64_t latchNs() const noexcept REQUIRES(boardLock());
    /// Call after a wait inside the call: updates its instant.
    void refresh() noexcept { rawNs_ = rawNow(); }
    /// Adds `ns` to the call's cost.
    void takesLonger(std::uint64_t ns) noexcept { extraNs_ += ns; }
    /// A negative `result` is a -errno of the model.
    void succeed(std::int64_t result) noexcept;
    void fail(int error) noexcept { succeed(-static_cast<std::int64_t>(error)); }
    /// Charges the cost, writes the trace, releases the lock, sets errno. Returns the result, or -1.
    long finish() noexcept RELEASE();
    /// Returns the errno value, for functions that return it instead of -1.
    int finishWithError() noexcept RELEASE();

private:
    board_call call_{};
    board_fault_outcome outcome_{};
    std::uint64_t rawNs_;
    std::uint64_t extraNs_ = 0;
    bool finished_ = false;
};

}  // namespace halvexboard
