// Shims: reading, setting and adjusting clocks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/time.h>
#include <sys/timex.h>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "board/preload/boardCore.h"
#include "board/preload/descriptors.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"
#include "board/wire/ptp.h"
#include "board/wire/timex.h"

using namespace halvexboard;

namespace {

enum class ClockKind { foreign, system, monotonic, hardware, invalid };

ClockKind kindOf(clockid_t clock, OpenFile*& file) noexcept {
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
        case CLOCK_TAI:
            return ClockKind::system;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_BOOTTIME:
            return isTimeVirtual() ? ClockKind::monotonic : ClockKind::foreign;
        default:
            break;
    }
    if (!BOARD_WIRE_IS_CLOCK_FD(clock)) return ClockKind::foreign;
    file = findDescriptor(BOARD_WIRE_CLOCK_TO_FD(clock));
    if (file == nullptr) return ClockKind::foreign;
    return file->node()->kind == NodeKind::ptpDevice ? ClockKind::hardware : ClockKind::invalid;
}

/// The cost of reading a clock that is not a device of the board: no faults and no trace line.
void spendForReading() noexcept {
    board_call call{};
    call.kind = BOARD_CALL_CLOCK_GETTIME;
    std::uint64_t costNs = 0;
    {
        const LockGuard guard(boardLock());
        costNs = board_call_cost(model(), &call);
    }
    spend(costNs);
}

// Of a clock's descriptor; null: the system clock.
int targetOf(const OpenFile* file) noexcept { return file != nullptr ? file->node()->target : BOARD_TARGET_SYSTEM; }
board_file kindOf(const OpenFile* file) noexcept { return file != nullptr ? BOARD_FILE_PTP : BOARD_FILE_ANY; }

int readClock(const OpenFile* file, timespec* out) noexcept {
    DeviceCall call(BOARD_CALL_CLOCK_GETTIME, targetOf(file), kindOf(file));
    if (!call.isFaulted()) {
        std::uint64_t ns = 0;
        int result = 0;
        if (file == nullptr)
            ns = board_system_get_time(model(), call.rawNs());
        else
            result = board_phc_get_time(model(), call.latchNs(), file->interface(), &ns);
        if (result == 0) {
            *out = toTimespec(ns);
            call.with(static_cast<std::int64_t>(ns));
        }
        call.succeed(result);
    }
    return static_cast<int>(call.finish());
}

int setSystem(std::int64_t seconds, std::int64_t nanoseconds) noexcept {
    DeviceCall call(BOARD_CALL_CLOCK_SETTIME, BOARD_TARGET_SYSTEM, BOARD_FILE_ANY);
    call.with(seconds).with(nanoseconds);
    if (!call.isFaulted()) call.succeed(board_system_set_time(model(), call.rawNs(), seconds, nanoseconds));
    const auto result = static_cast<int>(call.finish());
    tellModelChanged();
    return result;
}

int setHardware(OpenFile& file, const timespec& time) noexcept {
    DeviceCall call(BOARD_CALL_CLOCK_SETTIME, file.node()->target, BOARD_FILE_PTP);
    call.with(time.tv_sec).with(time.tv_nsec);
    if (!call.isFaulted()) {
        if (!file.canWrite())
            call.fail(EACCES);
        else if (!isValid(time) || time.tv_sec < 0)
            call.fail(EINVAL);
        else
            call.succeed(board_phc_set_time(model(), call.rawNs(), file.interface(), toNs(time)));
    }
    return static_cast<int>(call.finish());
}

int adjust(OpenFile* file, timex* argument) noexcept {
    static_assert(sizeof(timex) == sizeof(board_wire_timex), "the record that programs hand over");
    board_wire_timex wire;
    std::memcpy(&wire, argument, sizeof wire);
    DeviceCall call(BOARD_CALL_CLOCK_ADJTIME, targetOf(file), kindOf(file), wire.modes);
    if ((wire.modes & BOARD_WIRE_ADJ_SETOFFSET) != 0)
        call.with(wire.time_sec).with(wire.time_usec);
    else
        call.with(wire.freq);
    if (!call.isFaulted()) {
        int result = -EACCES;
        if (file == nullptr)
            result = board_system_adjtime(model(), call.rawNs(), &wire);
        else if (wire.modes == 0 || file->canWrite())
            result = board_phc_adjtime(model(), call.rawNs(), file->interface(), &wire);
        if (result >= 0) std::memcpy(static_cast<void*>(argument), &wire, sizeof wire);
        call.succeed(result);
    }
    const auto result = static_cast<int>(call.finish());
    tellModelChanged();
    return result;
}

}  // namespace

HALVEXBOARD_SHIM int clock_gettime(clockid_t clock, timespec* out) noexcept {
    OpenFile* file = nullptr;
    switch (isActive() ? kindOf(clock, file) : ClockKind::foreign) {
        case ClockKind::system:
            return readClock(nullptr, out);
        case ClockKind::monotonic:
            *out = toTimespec(monotonicNow());
            spendForReading();
            return 0;
        case ClockKind::hardware:
            return readClock(file, out);
        case ClockKind::invalid:
            return refuse(EINVAL);
        default:
            return REAL(clock_gettime)(clock, out);
    }
}

HALVEXBOARD_SHIM int clock_settime(clockid_t clock, const timespec* time) noexcept {
    OpenFile* file = nullptr;
    switch (isActive() ? kindOf(clock, file) : ClockKind::foreign) {
        case ClockKind::system:
            return clock == CLOCK_REALTIME ? setSystem(time->tv_sec, time->tv_nsec) : refuse(EINVAL);
        case ClockKind::hardware:
            return setHardware(*file, *time);
        case ClockKind::foreign:
            return REAL(clock_settime)(clock, time);
        default:
            return refuse(EINVAL);
    }
}

HALVEXBOARD_SHIM int clock_getres(clockid_t clock, timespec* out) noexcept {
    OpenFile* file = nullptr;
    if (!isActive() || kindOf(clock, file) != ClockKind::hardware) return REAL(clock_getres)(clock, out);
    if (out != nullptr) *out = {0, 1};
    return 0;
}

HALVEXBOARD_SHIM int clock_adjtime(clockid_t clock, timex* change) noexcept {
    OpenFile* file = nullptr;
    switch (isActive() ? kindOf(clock, file) : ClockKind::foreign) {
        case ClockKind::system:
            return clock == CLOCK_REALTIME ? adjust(nullptr, change) : refuse(EOPNOTSUPP);
        case ClockKind::hardware:
            return adjust(file, change);
        case ClockKind::foreign:
            return REAL(clock_adjtime)(clock, change);
        case ClockKind::monotonic:
            return refuse(EOPNOTSUPP);
        default:
            return refuse(EINVAL);
    }
}

HALVEXBOARD_SHIM int adjtimex(timex* change) noexcept {
    return isActive() ? adjust(nullptr, change) : REAL(adjtimex)(change);
}

HALVEXBOARD_TWIN(ntp_adjtime, adjtimex);

HALVEXBOARD_SHIM int ntp_gettime(ntptimeval* out) noexcept {
    if (!isActive()) return REAL(ntp_gettime)(out);
    timex state{};
    const int result = adjust(nullptr, &state);
    std::memset(out, 0, sizeof *out);
    out->time = state.time;
    out->maxerror = state.maxerror;
    out->esterror = state.esterror;
    out->tai = state.tai;
    return result;
}

HALVEXBOARD_SHIM int adjtime(const timeval* delta, timeval* left) noexcept {
    // The board cannot slew like this, and the real clock must not be slewed.
    return isActive() ? refuse(EPERM) : REAL(adjtime)(delta, left);
}

HALVEXBOARD_SHIM int gettimeofday(timeval* out, void* zone) noexcept {
    if (!isActive()) return REAL(gettimeofday)(out, zone);
    const timespec now = toTimespec(systemNow());
    *out = {now.tv_sec, now.tv_nsec / kNsPerMicrosecond};
    spendForReading();
    return 0;
}

HALVEXBOARD_SHIM int settimeofday(const timeval* time, const struct timezone* zone) noexcept {
    if (!isActive() || time == nullptr) return REAL(settimeofday)(time, zone);
    return setSystem(time->tv_sec, time->tv_usec * kNsPerMicrosecond);
}

HALVEXBOARD_SHIM time_t time(time_t* out) noexcept {
    if (!isActive()) return REAL(time)(out);
    const auto seconds = static_cast<time_t>(systemNow() / kNsPerSecond);
    spendForReading();
    if (out != nullptr) *out = seconds;
    return seconds;
}

HALVEXBOARD_SHIM int timespec_get(timespec* out, int base) noexcept {
    if (!isActive() || base != TIME_UTC) return REAL(timespec_get)(out, base);
    *out = toTimespec(systemNow());
    spendForReading();
    return base;
}
