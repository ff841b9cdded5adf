// The running board of this process: the model, its instant, and the frame in which every device call is made.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/model/board.h"
#include "board/preload/boardLock.h"
#include "board/preload/scheduler.h"

namespace halvexboard {

/// Where happenings go. Called with the board's lock held; must not allocate and must not call interposed functions.
struct HappeningSink {
    void (*take)(void* context, const board_happening& happening) noexcept = nullptr;
    void (*flush)(void* context) noexcept = nullptr;  ///< Make everything taken so far visible to others.
    void* context = nullptr;
};

struct CoreOptions {
    bool virtualTime = true;    ///< Otherwise the instant is the machine's raw clock since the start.
    bool withScheduler = true;  ///< One thread at a time; needs virtual time and the interposed thread functions.
    int consoleFd = -1;         ///< Where syslog lines and faults are shown as they happen; -1: nowhere.
    HappeningSink sink;
};

/// Switches the board on. One at a time. False when the configuration breaks a maximum of the model.
bool startCore(const board_config& config, const CoreOptions& options) noexcept;
void stopCore() noexcept;

/// Whether a board is on; everything passes through while none is.
inline std::atomic<bool> coreActive{false};
inline bool isActive() noexcept { return coreActive.load(std::memory_order_acquire); }

/// The model; only with the lock held and a board switched on.
board* model() noexcept;
bool isTimeVirtual() noexcept;

/// The present instant. Thread-safe; never goes back.
std::uint64_t rawNow() noexcept;
/// CLOCK_MONOTONIC, _RAW and BOOTTIME as the program sees them; a constant ahead of the instant when time is virtual.
std::uint64_t monotonicNow() noexcept;
std::uint64_t systemNow() noexcept;
std::uint64_t rawFromMonotonic(std::uint64_t monotonicNs) noexcept;

/// Lets `ns` of virtual time pass for the calling thread; long stretches are spent as a wait, so that others run
/// meanwhile. Called without the lock. Does nothing in real time.
void spend(std::uint64_t ns) noexcept;

/// After a model call that may have made somebody's descriptor readable: wakes its waiters.
void tellModelChanged() noexcept;

/// One call on the board from entry to exit. Purpose: faults, costs and the trace are the same for every kind of call.
/// Holds the lock from construction to finish(). Threads: thread-bound.
///     DeviceCall call(BOARD_CALL_READ, target, file);
///     if (!call.isFaulted()) call.succeed(board_...(model(), call.rawNs(), ...));
///     return call.finish();
class DeviceCall {
public:
    DeviceCall(board_call_kind kind, int target, board_file file, std::uint32_t detail = 0) noexcept;
    ~DeviceCall();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;

    DeviceCall& with(std::int64_t argument) noexcept;
    /// Asks the model once. True: the call must end with the fault's errno (already set as its result).
    bool isFaulted() noexcept;
    /// A fault that lets the call through with fewer bytes; -1 when there is none.
    std::int32_t shortCount() const noexcept { return outcome_.short_count; }
    std::int32_t forcedDriverStatus() const noexcept { return outcome_.driver_status; }

    std::uint64_t rawNs() const noexcept { return rawNs_; }
    /// After a wait inside the call: its instant is now.
    void refresh() noexcept { rawNs_ = rawNow(); }
    /// The call takes this much on top of its cost.
    void takesLonger(std::uint64_t ns) noexcept { extraNs_ += ns; }
    /// `result` below 0 is a negative errno, as the model returns it.
    void succeed(std::int64_t result) noexcept;
    void fail(int error) noexcept { succeed(-static_cast<std::int64_t>(error)); }
    /// Charges the cost, writes the trace, releases the lock, sets errno. Returns the result, or -1.
    long finish() noexcept;
    /// The errno value instead of -1, for functions that return it.
    int finishWithError() noexcept;

private:
    board_call call_{};
    board_fault_outcome outcome_{};
    std::uint64_t rawNs_;
    std::uint64_t extraNs_ = 0;
    bool finished_ = false;
};

}  // namespace halvexboard
