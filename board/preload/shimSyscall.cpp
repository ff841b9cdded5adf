// Shims: syscall, for futex waits that bypass the C library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

/// The wait behind std::atomic::wait, std::future and guards of static variables.
long waitOnFutex(const std::uint32_t* word, int operation, std::uint32_t seen, const timespec* span,
                 std::uint32_t bits) noexcept {
    if (__atomic_load_n(word, __ATOMIC_SEQ_CST) != seen) return refuse(EAGAIN);
    Deadline deadline = Deadline::never();
    if (span != nullptr && !isValid(*span)) return refuse(EINVAL);
    if (span != nullptr && (operation & FUTEX_CMD_MASK) == FUTEX_WAIT)
        deadline = deadlineAfter(toNs(*span));
    else if (span != nullptr)
        deadline = deadlineAt((operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC, *span);
    const bool isPrivate = (operation & FUTEX_PRIVATE_FLAG) != 0 || !canLook();
    const auto hasChanged = [&] { return __atomic_load_n(word, __ATOMIC_SEQ_CST) != seen; };
    const WaitResult result =
        isPrivate ? scheduler().wait(word, deadline, true, bits) : lookUntil(deadline, hasChanged, word);
    if (result == WaitResult::woken) return 0;
    return refuse(result == WaitResult::timedOut ? ETIMEDOUT : EINTR);
}

/// Returns false for operations that the scheduler does not handle.
bool futexOnScheduler(long a, long b, long c, long d, long f, long& result) noexcept {
    const auto operation = static_cast<int>(b);
    const auto* const word = reinterpret_cast<const std::uint32_t*>(a);
    const auto* const span = reinterpret_cast<const timespec*>(d);
    const auto bits = static_cast<std::uint32_t>(f);
    switch (operation & FUTEX_CMD_MASK) {
        case FUTEX_WAIT:
            result = waitOnFutex(word, operation, static_cast<std::uint32_t>(c), span, FUTEX_BITSET_MATCH_ANY);
            return true;
        case FUTEX_WAIT_BITSET:
            result = waitOnFutex(word, operation, static_cast<std::uint32_t>(c), span, bits);
            return true;
        default:
            return false;
    }
}

/// Wakes threads of the scheduler first, then kernel waiters.
long wakeFutex(long a, long b, long c, long f) noexcept {
    const auto operation = static_cast<int>(b) & FUTEX_CMD_MASK;
    const auto bits = operation == FUTEX_WAKE_BITSET ? static_cast<std::uint32_t>(f) : FUTEX_BITSET_MATCH_ANY;
    const int woken = scheduler().wake(reinterpret_cast<const void*>(a), static_cast<int>(c), bits);
    if (woken >= c) return woken;
    const long others = rawSystemCall(SYS_futex, a, b, c - woken, 0, 0, f);
    return woken + (others > 0 ? others : 0);
}

}  // namespace

HALVEXBOARD_SHIM long syscall(long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    long values[6];
    for (long& value : values) value = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_futex && isActive() && scheduler().isRunning()) {
        const auto operation = static_cast<int>(values[1]) & FUTEX_CMD_MASK;
        long result = 0;
        if (operation == FUTEX_WAKE || operation == FUTEX_WAKE_BITSET)
            return wakeFutex(values[0], values[1], values[2], values[5]);
        if (isScheduled() && futexOnScheduler(values[0], values[1], values[2], values[3], values[5], result))
            return result;
    }
    return REAL(syscall)(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
