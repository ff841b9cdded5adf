// The processes on a board: those that live, their children, and those that have ended.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/processes.h"

#include <linux/magic.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>

#include "board/preload/boardCore.h"
#include "board/preload/descriptors.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/procText.h"
#include "board/preload/traceFile.h"

namespace halvexboard {

namespace {

std::uint16_t ownPosition = 0;

pid_t ownPid() noexcept { return static_cast<pid_t>(rawSystemCall(SYS_getpid)); }

int find(pid_t pid) noexcept REQUIRES(boardLock()) {
    const Process* const begin = processesInUse->entries;
    const Process* const end = begin + Scheduler::kMaxProcesses;
    const Process* const found =
        std::find_if(begin, end, [pid](const Process& entry) { return entry.isUsed && entry.pid == pid; });
    return found != end ? static_cast<int>(found - begin) : -1;
}

int take(pid_t pid, pid_t parent) noexcept REQUIRES(boardLock()) {
    for (std::size_t i = 0; i < Scheduler::kMaxProcesses; ++i) {
        Process& entry = processesInUse->entries[i];
        if (entry.isUsed) continue;
        entry = {pid, parent, true, nullptr, {}};
        return static_cast<int>(i);
    }
    return -1;
}

void setPid(Process& entry, pid_t pid) noexcept REQUIRES(boardLock()) {
    if (entry.pid == 0) --processesInUse->starting;
    entry.pid = pid;
}

/// Takes a process off the board: its threads, its descriptors, its entry.
void remove(int position) noexcept REQUIRES(boardLock()) {
    Process& entry = processesInUse->entries[position];
    const int parent = find(entry.parent);
    dropDescriptorsOf(static_cast<std::uint16_t>(position));
    entry = {};
    if (parent >= 0) scheduler().wake(scheduler().childKey(static_cast<std::uint16_t>(parent)), INT32_MAX);
    scheduler().retireProcess(static_cast<std::uint16_t>(position));
}

std::uint64_t inodeOf(int fd) noexcept {
    struct stat status {};
    return rawSystemCall(SYS_fstat, fd, reinterpret_cast<long>(&status)) == 0 ? status.st_ino : 0;
}

bool isOn(int fd, long filesystemType) noexcept {
    struct statfs filesystem {};
    return rawSystemCall(SYS_fstatfs, fd, reinterpret_cast<long>(&filesystem)) == 0 &&
           filesystem.f_type == filesystemType;
}

bool isAnonymousPipe(int fd) noexcept { return isOn(fd, PIPEFS_MAGIC); }

/// What a process from outside the board brings along.
void noteOutside() noexcept REQUIRES(boardLock()) {
    constexpr int kHighest = 256;
    ProcessTable& table = *processesInUse;
    for (int fd = 0; fd < kHighest && table.outsideCount < std::size(table.outside); ++fd)
        if (isAnonymousPipe(fd)) table.outside[table.outsideCount++] = inodeOf(fd);
}

bool awaitDeath(pid_t pid) noexcept {
    constexpr long kLongestNs = 5 * kNsPerSecond;
    const long fd = rawSystemCall(SYS_pidfd_open, pid, 0);
    if (fd < 0) return true;
    pollfd entry{static_cast<int>(fd), POLLIN, 0};
    const timespec span{kLongestNs / kNsPerSecond, 0};
    const long outcome = rawSystemCall(SYS_ppoll, reinterpret_cast<long>(&entry), 1, reinterpret_cast<long>(&span));
    rawSystemCall(SYS_close, fd);
    return outcome > 0;
}

bool isDeadly(const ProcText& status, int signal) noexcept {
    constexpr int kHarmless[] = {SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU};
    if (signal == SIGKILL) return true;
    return std::find(std::begin(kHarmless), std::end(kHarmless), signal) == std::end(kHarmless) &&
           !status.has("SigBlk:", signal) && !status.has("SigIgn:", signal) && !status.has("SigCgt:", signal);
}

}  // namespace

std::uint16_t ownProcess() noexcept { return ownPosition; }

int enterProcess(Arrival& arrival) noexcept {
    constexpr int kTries = 2'000;
    constexpr timespec kShortly{0, kNsPerMillisecond};
    const pid_t pid = ownPid();
    const auto parent = static_cast<pid_t>(rawSystemCall(SYS_getppid));
    bool isExpected = true;  // its parent may not have come to note its pid yet
    for (int i = 0; i < kTries && isExpected; ++i) {
        if (i > 0) rawSystemCall(SYS_nanosleep, reinterpret_cast<long>(&kShortly));
        const LockGuard guard(boardLock());
        isExpected = find(pid) < 0 && processesInUse->starting > 0 && find(parent) >= 0;
    }
    const LockGuard guard(boardLock());
    int position = find(pid);
    if (position >= 0) {
        arrival = processesInUse->entries[position].first != nullptr ? Arrival::child : Arrival::replaced;
    } else {
        arrival = Arrival::newcomer;
        position = take(pid, parent);
        if (find(parent) < 0) noteOutside();
    }
    ownPosition = static_cast<std::uint16_t>(std::max(position, 0));
    return position;
}

int prepareChild() noexcept {
    const int position = take(0, ownPid());
    if (position < 0) return -1;
    Process& entry = processesInUse->entries[position];
    if (scheduler().isRunning()) entry.first = scheduler().prepareProcess(static_cast<std::uint16_t>(position));
    leaveDescriptorsTo(static_cast<std::uint16_t>(position));
    ++processesInUse->starting;
    return position;
}

void nameChild(int position, pid_t pid) noexcept {
    const LockGuard guard(boardLock());
    setPid(processesInUse->entries[position], pid);
}

void abandonChild(int position) noexcept {
    const LockGuard guard(boardLock());
    --processesInUse->starting;
    remove(position);
}

void becomeChild(int position) noexcept {
    setPid(processesInUse->entries[position], ownPid());
    ownPosition = static_cast<std::uint16_t>(position);
}

void leaveBoard(bool isEnding) noexcept {
    if (!isBoardShared() || !coreActive.exchange(false)) return;
    const LockGuard guard(boardLock());
    writeTrace();
    if (isEnding && scheduler().isRunning()) processesInUse->ending = ownPid();
    remove(ownPosition);
}

void lookAfterProcesses() noexcept {
    ProcessTable& table = *processesInUse;
    timespec now{};
    rawSystemCall(SYS_clock_gettime, CLOCK_MONOTONIC, reinterpret_cast<long>(&now));
    const std::int64_t nowNs = now.tv_sec * kNsPerSecond + now.tv_nsec;
    if (nowNs - table.lookedAtNs < kHeartbeatNs) return;
    table.lookedAtNs = nowNs;
    for (std::size_t i = 0; i < Scheduler::kMaxProcesses; ++i)
        if (table.entries[i].isUsed && table.entries[i].pid > 0 &&
            hasDied(static_cast<std::uint32_t>(table.entries[i].pid)))
            remove(static_cast<int>(i));
    const Scheduler::Thread* const holder = scheduler().holder();
    if (holder == nullptr || !scheduler().hasHeldSinceLastLook()) return;
    const auto pid = static_cast<std::uint32_t>(table.entries[holder->process].pid);
    if (isHeldUp(holder->id != 0 ? holder->id : pid)) scheduler().pushAside();  // a child may not have come so far
}

void awaitEnding() noexcept {
    const pid_t ending = processesInUse->ending;
    if (ending == 0) return;
    {
        const UnlockGuard released(boardLock());
        awaitDeath(ending);
    }
    if (processesInUse->ending == ending) processesInUse->ending = 0;
}

void noteSignal(pid_t pid, int signal) noexcept {
    if (signal <= 0 || pid == ownPid() || !isOnBoard(pid)) return;
    const ProcText status(static_cast<std::uint32_t>(pid), "status");
    const bool isOver = isDeadly(status, signal) && awaitDeath(pid);
    const LockGuard guard(boardLock());
    const int position = find(pid);
    if (position < 0) return;
    if (isOver)
        remove(position);
    else if (status.has("SigCgt:", signal) && !status.has("SigBlk:", signal))
        scheduler().interrupt(static_cast<std::uint16_t>(position));
}

void beforeOwnSignal(int signal) noexcept {
    const ProcText status(static_cast<std::uint32_t>(ownPid()), "status");
    if (isDeadly(status, signal)) {
        leaveBoard(true);
    } else if (status.has("SigCgt:", signal) && !status.has("SigBlk:", signal)) {
        const LockGuard guard(boardLock());
        scheduler().interrupt(ownPosition);
    }
}

bool hasChildOnBoard(pid_t pid) noexcept {
    const LockGuard guard(boardLock());
    const pid_t me = ownPid();
    return std::any_of(std::begin(processesInUse->entries), std::end(processesInUse->entries), [&](const Process& one) {
        return one.isUsed && one.parent == me && (pid <= 0 || one.pid == pid);
    });
}

bool isOnBoard(pid_t pid) noexcept {
    const LockGuard guard(boardLock());
    return pid > 0 && find(pid) >= 0;
}

bool isInside(int fd) noexcept {
    const LockGuard guard(boardLock());
    const ProcessTable& table = *processesInUse;
    if (isAnonymousPipe(fd))
        return std::find(table.outside, table.outside + table.outsideCount, inodeOf(fd)) ==
               table.outside + table.outsideCount;
    if (isOn(fd, ANON_INODE_FS_MAGIC)) return true;  // events, timers, signals
    ucred peer{};
    socklen_t size = sizeof peer;
    return rawSystemCall(SYS_getsockopt, fd, SOL_SOCKET, SO_PEERCRED, reinterpret_cast<long>(&peer),
                         reinterpret_cast<long>(&size)) == 0 &&
           find(peer.pid) >= 0;
}

}  // namespace halvexboard
