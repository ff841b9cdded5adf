// Shims: poll and select, and their variants.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <algorithm>
#include <cerrno>
#include <csignal>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/processes.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

/// One watched descriptor, for any of the functions.
struct Watched {
    int fd;
    short events;
    short ready;
};

constexpr int kMaxWatched = 4096;

/// The descriptors of one waiting call, in thread-local storage to avoid allocation.
struct Watch {
    Watched* items;
    int count;
};

/// Checks every descriptor once. Those of the machine are polled without waiting, or for `realSpan` if given.
int look(Watch& watch, bool withReal, const timespec* realSpan) noexcept REQUIRES(boardLock()) {
    int ready = 0;
    for (int i = 0; i < watch.count; ++i) {
        Watched& item = watch.items[i];
        item.ready = 0;
        if (const OpenFile* const file = findDescriptor(item.fd))
            item.ready = static_cast<short>(readiness(*file, static_cast<std::uint32_t>(item.events)));
        else if (withReal) {
            pollfd entry{item.fd, item.events, 0};
            rawSystemCall(SYS_ppoll, reinterpret_cast<long>(&entry), 1, reinterpret_cast<long>(realSpan), 0, 0);
            item.ready = entry.revents;
        }
        ready += item.ready != 0 ? 1 : 0;
    }
    return ready;
}

bool hasReal(const Watch& watch) noexcept {
    return std::any_of(watch.items, watch.items + watch.count,
                       [](const Watched& item) { return findDescriptor(item.fd) == nullptr; });
}

/// Whether there are descriptors of the machine, and only processes on the board make them ready.
bool areRealInside(const Watch& watch) noexcept {
    return canLook() && hasReal(watch) && std::all_of(watch.items, watch.items + watch.count, [](const Watched& item) {
               return findDescriptor(item.fd) != nullptr || isInside(item.fd);
           });
}

const OpenFile* firstOfBoard(const Watch& watch) noexcept {
    for (int i = 0; i < watch.count; ++i) {
        if (const OpenFile* const file = findDescriptor(watch.items[i].fd)) return file;
    }
    return nullptr;
}

/// Waits until something is ready or the deadline passes. Returns the number of ready ones, 0, or -EINTR.
int watchUntil(Watch& watch, Deadline deadline, DeviceCall& call) noexcept REQUIRES(boardLock()) {
    // Machine descriptors cannot wake this wait: poll them again after a little virtual and real time.
    constexpr std::uint64_t kLookAgainNs = 10 * kNsPerMillisecond;
    constexpr timespec kNoWait{0, 0};
    constexpr timespec kShortWait{0, kNsPerMillisecond};
    if (areRealInside(watch)) {
        int ready = 0;
        const WaitResult result = lookUntil(
            deadline,
            [&] {
                const LockGuard guard(boardLock());
                return (ready = look(watch, true, &kNoWait)) != 0;
            },
            scheduler().modelKey());
        call.refresh();
        return result == WaitResult::interrupted ? -EINTR : ready;
    }
    const bool mixed = hasReal(watch);
    for (;;) {
        const int ready = look(watch, mixed, mixed && deadline.clock == Deadline::Clock::none ? &kShortWait : &kNoWait);
        if (ready != 0 || hasPassed(deadline)) {
            call.refresh();
            return ready;
        }
        Deadline until = deadline;
        if (mixed) {
            until = deadlineAfter(kLookAgainNs);
            if (deadline.clock == Deadline::Clock::raw && deadline.ns < until.ns) until = deadline;
        }
        if (waitForModel(until) == WaitResult::interrupted) return -EINTR;
    }
}

/// A complete waiting call with at least one descriptor of the board.
int watchOnBoard(board_call_kind kind, const OpenFile& first, Watch& watch, Deadline deadline,
                 std::int64_t spanNs) noexcept {
    DeviceCall call(kind, first.node()->target, first.node()->file);
    call.with(spanNs);
    if (!call.isFaulted()) {
        if (call.shortCount() == 0) {  // "nothing became ready", after the whole wait
            for (int i = 0; i < watch.count; ++i) watch.items[i].ready = 0;
            sleepUntil(deadline);
            call.refresh();
            call.succeed(0);
        } else {
            call.succeed(watchUntil(watch, deadline, call));
        }
    }
    return static_cast<int>(call.finish());
}

/// After a real wait that timed out: advances virtual time as well.
void catchUp(std::uint64_t startNs, std::int64_t spanNs) noexcept {
    const int error = errno;
    if (sleepsHere() && spanNs > 0) sleepUntil(Deadline::atRaw(startNs + static_cast<std::uint64_t>(spanNs)));
    errno = error;
}

Deadline deadlineOf(std::int64_t spanNs) noexcept {
    return spanNs < 0 ? Deadline::never() : deadlineAfter(static_cast<std::uint64_t>(spanNs));
}

thread_local Watched watchedStorage[kMaxWatched];

constexpr int kBitsPerWord = 8 * static_cast<int>(sizeof(fd_mask));

/// Reads the sets by words, like the kernel: descriptors of FD_SETSIZE and more work too.
bool isInSet(const fd_set* set, int fd) noexcept {
    if (set == nullptr) return false;
    const auto* const words = reinterpret_cast<const fd_mask*>(set);
    return (static_cast<unsigned long>(words[fd / kBitsPerWord]) >> (fd % kBitsPerWord) & 1UL) != 0;
}

void keepInSet(fd_set* set, int fd, bool keep) noexcept {
    if (set == nullptr) return;
    auto* const words = reinterpret_cast<unsigned long*>(set);
    const unsigned long bit = 1UL << (fd % kBitsPerWord);
    words[fd / kBitsPerWord] = keep ? words[fd / kBitsPerWord] | bit : words[fd / kBitsPerWord] & ~bit;
}

Watch collectSets(int count, const fd_set* reading, const fd_set* writing, const fd_set* exceptional) noexcept {
    Watch watch{watchedStorage, 0};
    for (int fd = 0; fd < count && watch.count < kMaxWatched; ++fd) {
        short events = 0;
        if (isInSet(reading, fd)) events = static_cast<short>(events | POLLIN);
        if (isInSet(writing, fd)) events = static_cast<short>(events | POLLOUT);
        if (isInSet(exceptional, fd)) events = static_cast<short>(events | POLLPRI);
        if (events != 0) watch.items[watch.count++] = {fd, events, 0};
    }
    return watch;
}

int deliverSets(const Watch& watch, fd_set* reading, fd_set* writing, fd_set* exceptional) noexcept {
    int bits = 0;
    for (int i = 0; i < watch.count; ++i) {
        const Watched& item = watch.items[i];
        const bool isRead = isInSet(reading, item.fd) && (item.ready & (POLLIN | POLLHUP | POLLERR)) != 0;
        const bool isWrite = isInSet(writing, item.fd) && (item.ready & (POLLOUT | POLLERR)) != 0;
        const bool isOther = isInSet(exceptional, item.fd) && (item.ready & POLLPRI) != 0;
        keepInSet(reading, item.fd, isRead);
        keepInSet(writing, item.fd, isWrite);
        keepInSet(exceptional, item.fd, isOther);
        bits += (isRead ? 1 : 0) + (isWrite ? 1 : 0) + (isOther ? 1 : 0);
    }
    return bits;
}

/// Returns false if no descriptor of the board is concerned and it is not a mere sleep.
bool waitOnBoard(board_call_kind kind, Watch& watch, std::int64_t spanNs, int& result) noexcept {
    if (watch.count == 0 && sleepsHere() && spanNs >= 0) {
        std::uint64_t leftNs = 0;
        const int error = sleepOnBoard(deadlineOf(spanNs), leftNs);
        errno = error != 0 ? error : errno;
        result = error != 0 ? -1 : 0;
        return true;
    }
    const OpenFile* const first = firstOfBoard(watch);
    if (first == nullptr && areRealInside(watch)) {
        const LockGuard guard(boardLock());
        constexpr timespec kNoWait{0, 0};
        const WaitResult waited = lookUntil(deadlineOf(spanNs), [&] {
            const LockGuard again(boardLock());
            return (result = look(watch, true, &kNoWait)) != 0;
        });
        if (waited == WaitResult::interrupted) result = refuse(EINTR);
        return true;
    }
    if (first == nullptr) return false;
    result = watchOnBoard(kind, *first, watch, deadlineOf(spanNs), spanNs);
    return true;
}

/// Returns as waitOnBoard does.
bool selectOnBoard(int count, fd_set* reading, fd_set* writing, fd_set* exceptional, std::int64_t spanNs,
                   int& result) noexcept {
    Watch watch = collectSets(count, reading, writing, exceptional);
    if (!waitOnBoard(BOARD_CALL_SELECT, watch, spanNs, result)) return false;
    if (result >= 0) result = deliverSets(watch, reading, writing, exceptional);
    return true;
}

/// Returns as waitOnBoard does.
bool pollOnBoard(pollfd* entries, nfds_t count, std::int64_t spanNs, int& result) noexcept {
    Watch watch{watchedStorage, 0};
    for (nfds_t i = 0; i < count && watch.count < kMaxWatched; ++i)
        watch.items[watch.count++] = {entries[i].fd, entries[i].events, 0};
    if (!waitOnBoard(BOARD_CALL_POLL, watch, spanNs, result)) return false;
    for (int i = 0; result >= 0 && i < watch.count; ++i) entries[i].revents = watch.items[i].ready;
    return true;
}

/// Waits for real descriptors. Not noexcept: a thread may be cancelled in it.
template <typename Call>
int waitOutside(std::int64_t spanNs, Call realCall) {
    const std::uint64_t startNs = rawNow();
    int result = 0;
    {
        const ExternalCall external;
        result = realCall();
    }
    if (result == 0) catchUp(startNs, spanNs);
    return result;
}

/// One of the calls that take a signal mask, which applies while the board waits.
template <typename BoardCall, typename RealCall>
int waitWithMask(const sigset_t* mask, std::int64_t spanNs, BoardCall onBoard, RealCall realCall) {
    sigset_t before;
    if (mask != nullptr) pthread_sigmask(SIG_SETMASK, mask, &before);
    int result = 0;
    const bool isDone = onBoard(result);
    if (mask != nullptr) pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isDone ? result : waitOutside(spanNs, realCall);
}

std::int64_t nsOf(const timespec* span) noexcept {
    return span != nullptr ? static_cast<std::int64_t>(toNs(*span)) : -1;
}

}  // namespace

HALVEXBOARD_SHIM int select(int count, fd_set* reading, fd_set* writing, fd_set* exceptional, timeval* span) {
    pthread_testcancel();
    if (!isActive() || count < 0) return REAL(select)(count, reading, writing, exceptional, span);
    std::int64_t spanNs = -1;
    if (span != nullptr) {
        if (span->tv_sec < 0 || span->tv_usec < 0) return refuse(EINVAL);
        spanNs = static_cast<std::int64_t>(toNs({span->tv_sec, 0})) + span->tv_usec * kNsPerMicrosecond;
    }
    const std::uint64_t startNs = rawNow();
    int result = 0;
    if (selectOnBoard(count, reading, writing, exceptional, spanNs, result)) {
        // Like the kernel, stores the remaining time in the time-out.
        const auto passedNs = static_cast<std::int64_t>(rawNow() - startNs);
        const std::int64_t leftNs = spanNs > passedNs ? spanNs - passedNs : 0;
        if (span != nullptr) *span = {leftNs / kNsPerSecond, leftNs % kNsPerSecond / kNsPerMicrosecond};
        return result;
    }
    return waitOutside(spanNs, [&] { return REAL(select)(count, reading, writing, exceptional, span); });
}

HALVEXBOARD_SHIM int pselect(int count, fd_set* reading, fd_set* writing, fd_set* exceptional, const timespec* span,
                             const sigset_t* mask) {
    pthread_testcancel();
    if (!isActive() || count < 0 || (span != nullptr && (!isValid(*span) || span->tv_sec < 0)))
        return REAL(pselect)(count, reading, writing, exceptional, span, mask);
    return waitWithMask(
        mask, nsOf(span),
        [&](int& result) { return selectOnBoard(count, reading, writing, exceptional, nsOf(span), result); },
        [&] { return REAL(pselect)(count, reading, writing, exceptional, span, mask); });
}

HALVEXBOARD_SHIM int ppoll(pollfd* entries, nfds_t count, const timespec* span, const sigset_t* mask) {
    pthread_testcancel();
    if (!isActive()) return REAL(ppoll)(entries, count, span, mask);
    return waitWithMask(
        mask, nsOf(span), [&](int& result) { return pollOnBoard(entries, count, nsOf(span), result); },
        [&] { return REAL(ppoll)(entries, count, span, mask); });
}

HALVEXBOARD_SHIM int poll(pollfd* entries, nfds_t count, int milliseconds) {
    const timespec span{milliseconds / 1'000, milliseconds % 1'000 * kNsPerMillisecond};
    return ppoll(entries, count, milliseconds < 0 ? nullptr : &span, nullptr);
}

HALVEXBOARD_SHIM int __poll_chk(pollfd* entries, nfds_t count, int milliseconds, size_t room) {
    if (room / sizeof(pollfd) < count) __builtin_trap();
    return poll(entries, count, milliseconds);
}

HALVEXBOARD_SHIM int __ppoll_chk(pollfd* entries, nfds_t count, const timespec* span, const sigset_t* mask,
                                 size_t room) {
    if (room / sizeof(pollfd) < count) __builtin_trap();
    return ppoll(entries, count, span, mask);
}
