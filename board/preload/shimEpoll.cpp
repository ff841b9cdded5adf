// Shims: epoll, for descriptors of the board and of the machine in one set.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/processes.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

/// A descriptor of the board in a set; the kernel's set does not know it.
struct Member {
    int set;
    int fd;  ///< -1: not in use.
    epoll_event event;
};
constexpr std::size_t kMaxMembers = 256;
Member members[kMaxMembers] GUARDED_BY(boardLock());
std::size_t memberCount GUARDED_BY(boardLock()) = 0;

Member* find(int set, int fd) noexcept REQUIRES(boardLock()) {
    Member* const end = members + memberCount;
    Member* const found = std::find_if(members, end, [&](const Member& m) { return m.set == set && m.fd == fd; });
    return found != end ? found : nullptr;
}

int change(int set, int operation, int fd, const epoll_event* event) noexcept {
    const LockGuard guard(boardLock());
    Member* const member = find(set, fd);
    if (operation == EPOLL_CTL_ADD) {
        if (member != nullptr) return refuse(EEXIST);
        if (memberCount == kMaxMembers) return refuse(ENOSPC);
        members[memberCount++] = {set, fd, *event};
        return 0;
    }
    if (member == nullptr) return refuse(ENOENT);
    if (operation == EPOLL_CTL_MOD)
        member->event = *event;
    else if (operation == EPOLL_CTL_DEL)
        *member = members[--memberCount];
    else
        return refuse(EINVAL);
    return 0;
}

/// Those of the board that are ready, each time they are asked for.
int readyOnBoard(int set, epoll_event* events, int room) noexcept {
    const LockGuard guard(boardLock());
    int count = 0;
    for (std::size_t i = 0; i < memberCount && count < room; ++i) {
        const OpenFile* const file = members[i].set == set ? findDescriptor(members[i].fd) : nullptr;
        if (file == nullptr) continue;
        const std::uint32_t ready = readiness(*file, members[i].event.events);
        if (ready != 0) events[count++] = {ready, members[i].event.data};
    }
    return count;
}

bool hasMembers(int set) noexcept {
    const LockGuard guard(boardLock());
    return std::any_of(members, members + memberCount, [set](const Member& member) { return member.set == set; });
}

/// Whether the kernel's set holds descriptors that something outside the board makes ready.
bool watchesOutside(int set) noexcept {
    char path[64];
    char text[4096] = {};
    std::snprintf(path, sizeof path, "/proc/self/fdinfo/%d", set);
    const long fd = rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    rawSystemCall(SYS_read, fd, reinterpret_cast<long>(text), sizeof text - 1);
    rawSystemCall(SYS_close, fd);
    static constexpr char kMember[] = "tfd:";
    for (const char* at = std::strstr(text, kMember); at != nullptr; at = std::strstr(at + 1, kMember))
        if (!isInside(std::atoi(at + sizeof kMember - 1))) return true;
    return false;
}

/// Waits with `real`, which takes the events, the room, and ms to wait.
template <typename Real>
int waitForEvents(int set, epoll_event* events, int room, int milliseconds, Real real) {
    pthread_testcancel();
    const bool hasOurs = isActive() && hasMembers(set);
    if (!isScheduled() || room <= 0 || (!hasOurs && watchesOutside(set))) {
        const ExternalCall external;
        return real(events, room, milliseconds);
    }
    int count = 0;
    const auto look = [&] {
        count = readyOnBoard(set, events, room);
        const int others = count < room ? real(events + count, room - count, 0) : 0;
        count = others < 0 && count == 0 ? others : count + std::max(others, 0);
        return count != 0;
    };
    const Deadline deadline = milliseconds < 0
                                  ? Deadline::never()
                                  : deadlineAfter(static_cast<std::uint64_t>(milliseconds) * kNsPerMillisecond);
    constexpr std::uint64_t kLookAgainNs = 10 * kNsPerMillisecond;  // at what comes from outside
    const bool isMixed = hasOurs && watchesOutside(set);
    for (;;) {
        const Deadline again = deadlineAfter(std::min(kLookAgainNs, remainingNs(deadline)));
        const WaitResult result = lookUntil(isMixed ? again : deadline, look, scheduler().modelKey());
        if (result == WaitResult::interrupted) return refuse(EINTR);
        if (result == WaitResult::woken || hasPassed(deadline)) return count;
    }
}

}  // namespace

HALVEXBOARD_SHIM int epoll_ctl(int set, int operation, int fd, epoll_event* event) noexcept {
    return ours(fd) != nullptr ? change(set, operation, fd, event) : REAL(epoll_ctl)(set, operation, fd, event);
}

HALVEXBOARD_SHIM int epoll_wait(int set, epoll_event* events, int room, int milliseconds) {
    return waitForEvents(set, events, room, milliseconds,
                         [set](epoll_event* at, int left, int span) { return REAL(epoll_wait)(set, at, left, span); });
}

HALVEXBOARD_SHIM int epoll_pwait(int set, epoll_event* events, int room, int milliseconds, const sigset_t* mask) {
    sigset_t before;
    if (mask != nullptr) pthread_sigmask(SIG_SETMASK, mask, &before);
    const int result = epoll_wait(set, events, room, milliseconds);
    if (mask != nullptr) pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return result;
}
