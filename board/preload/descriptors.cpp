// The descriptors that the board has handed out, in fixed-size tables by number.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/descriptors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace halvexboard {

namespace {

/// Size behind a driver node for programs that map it.
constexpr long kMappableBytes = 1L << 20;

/// Of this process.
struct Table {
    std::atomic<std::uint16_t> byNumber[kMaxDescriptor];  // 0: not the board's, else position in the open files plus 1
    std::uint16_t numbers[kMaxOpenFiles];                 // descriptors of each open file
    std::uint64_t ownBit;
};

constinit Table table{{}, {}, 1};

/// Instead of a position: a tracked socket.
constexpr std::uint16_t kSocket = 0xffff;

int backingDescriptor(const Node& node, int flags) noexcept {
    const bool closeOnExec = (flags & O_CLOEXEC) != 0;
    if (node.kind == NodeKind::ptpDevice)  // never readable for the kernel: a poll that bypasses the shim just waits
        return static_cast<int>(rawSystemCall(SYS_socket, AF_UNIX, SOCK_DGRAM | (closeOnExec ? SOCK_CLOEXEC : 0), 0));
    const long fd = rawSystemCall(SYS_memfd_create, reinterpret_cast<long>(node.name), closeOnExec ? MFD_CLOEXEC : 0);
    if (fd >= 0 && node.kind == NodeKind::driverNode) rawSystemCall(SYS_ftruncate, fd, kMappableBytes);
    return static_cast<int>(fd);
}

/// Distinguishes the backing files, which are sockets and memory files; 0 if the descriptor is not open.
std::uint64_t inodeOf(int fd) noexcept {
    struct stat status {};
    if (rawSystemCall(SYS_fstat, fd, reinterpret_cast<long>(&status)) != 0) return 0;
    return (static_cast<std::uint64_t>(status.st_dev) << 48) ^ status.st_ino;
}

void refer(int fd, std::uint16_t position) noexcept REQUIRES(boardLock()) {
    ++table.numbers[position];
    filesInUse[position].holders |= table.ownBit;
    table.byNumber[fd].store(static_cast<std::uint16_t>(position + 1), std::memory_order_release);
}

}  // namespace

bool OpenFile::canRead() const noexcept { return (flags & O_ACCMODE) != O_WRONLY; }
bool OpenFile::canWrite() const noexcept { return (flags & O_ACCMODE) != O_RDONLY; }

OpenFile* findDescriptor(int fd) noexcept {
    if (fd < 0 || fd >= kMaxDescriptor) return nullptr;
    const std::uint16_t entry = table.byNumber[fd].load(std::memory_order_acquire);
    return entry == 0 || entry == kSocket ? nullptr : &filesInUse[entry - 1];
}

void noteSocket(int fd) noexcept {
    if (fd >= 0 && fd < kMaxDescriptor) table.byNumber[fd].store(kSocket, std::memory_order_release);
}

bool isNotedSocket(int fd) noexcept {
    return fd >= 0 && fd < kMaxDescriptor && table.byNumber[fd].load(std::memory_order_acquire) == kSocket;
}

int makeDescriptor(const Node& node, int flags) noexcept {
    const LockGuard guard(boardLock());
    std::uint16_t free = 0;
    while (free < kMaxOpenFiles && filesInUse[free].holders != 0) ++free;
    if (free == kMaxOpenFiles) return -ENFILE;
    const int fd = backingDescriptor(node, flags);
    if (fd < 0) return fd;
    if (fd >= kMaxDescriptor) {
        rawSystemCall(SYS_close, fd);
        return -EMFILE;
    }
    OpenFile& file = filesInUse[free];
    file.nodePosition = positionOf(node);
    file.flags = flags;
    file.offset = 0;
    file.inode = inodeOf(fd);
    file.isStream = false;
    file.contentSize = 0;
    refer(fd, free);
    return fd;
}

void shareDescriptor(int from, int to) noexcept {
    const LockGuard guard(boardLock());
    OpenFile* const file = findDescriptor(from);
    if (file == nullptr || to < 0 || to >= kMaxDescriptor) return;
    refer(to, static_cast<std::uint16_t>(file - filesInUse));
}

void forgetDescriptor(int fd) noexcept {
    const LockGuard guard(boardLock());
    if (fd < 0 || fd >= kMaxDescriptor) return;
    OpenFile* const file = findDescriptor(fd);
    if (file != nullptr && --table.numbers[file - filesInUse] == 0) file->holders &= ~table.ownBit;
    table.byNumber[fd].store(0, std::memory_order_release);
}

void forgetAllDescriptors() noexcept {
    const LockGuard guard(boardLock());
    for (int fd = 0; fd < kMaxDescriptor; ++fd) {
        if (table.byNumber[fd].load(std::memory_order_relaxed) != 0) forgetDescriptor(fd);
    }
}

// -------------------------------------------------------------------------------------------------------- processes --

void ownDescriptorsAs(std::uint16_t process) noexcept { table.ownBit = std::uint64_t{1} << process; }

void leaveDescriptorsTo(std::uint16_t process) noexcept {
    for (std::uint16_t i = 0; i < kMaxOpenFiles; ++i)
        if (table.numbers[i] != 0) filesInUse[i].holders |= std::uint64_t{1} << process;
}

void findInheritedDescriptors() noexcept {
    const LockGuard guard(boardLock());
    bool inheritsAny = false;
    for (std::uint16_t i = 0; i < kMaxOpenFiles; ++i) inheritsAny |= (filesInUse[i].holders & table.ownBit) != 0;
    for (int fd = 0; inheritsAny && fd < kMaxDescriptor; ++fd) {
        const std::uint64_t inode = inodeOf(fd);
        for (std::uint16_t i = 0; inode != 0 && i < kMaxOpenFiles; ++i)
            if ((filesInUse[i].holders & table.ownBit) != 0 && filesInUse[i].inode == inode) refer(fd, i);
    }
    for (std::uint16_t i = 0; i < kMaxOpenFiles; ++i)
        if (table.numbers[i] == 0) filesInUse[i].holders &= ~table.ownBit;
}

void dropDescriptorsOf(std::uint16_t process) noexcept {
    for (std::uint16_t i = 0; i < kMaxOpenFiles; ++i) filesInUse[i].holders &= ~(std::uint64_t{1} << process);
}

}  // namespace halvexboard
