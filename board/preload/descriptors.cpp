// The descriptors that the board has handed out, in fixed-size tables by number.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/descriptors.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace halvexboard {

namespace {

constexpr std::uint16_t kMaxOpenFiles = 2048;
/// Size behind a driver node for programs that map it.
constexpr long kMappableBytes = 1L << 20;

struct Table {
    std::atomic<std::uint16_t> byNumber[kMaxDescriptor];  // 0: not the board's, else position in files plus 1
    OpenFile files[kMaxOpenFiles];
};

constinit Table table{};

/// Instead of a position: a tracked socket.
constexpr std::uint16_t kSocket = 0xffff;

int backingDescriptor(const Node& node, int flags) noexcept {
    const bool closeOnExec = (flags & O_CLOEXEC) != 0;
    if (node.kind == NodeKind::ptpDevice)  // never readable for the kernel: a poll that bypasses the shim just waits
        return static_cast<int>(rawSystemCall(SYS_eventfd2, 0, closeOnExec ? EFD_CLOEXEC : 0));
    const long fd = rawSystemCall(SYS_memfd_create, reinterpret_cast<long>(node.name), closeOnExec ? MFD_CLOEXEC : 0);
    if (fd >= 0 && node.kind == NodeKind::driverNode) rawSystemCall(SYS_ftruncate, fd, kMappableBytes);
    return static_cast<int>(fd);
}

}  // namespace

bool OpenFile::canRead() const noexcept { return (flags & O_ACCMODE) != O_WRONLY; }
bool OpenFile::canWrite() const noexcept { return (flags & O_ACCMODE) != O_RDONLY; }

OpenFile* findDescriptor(int fd) noexcept {
    if (fd < 0 || fd >= kMaxDescriptor) return nullptr;
    const std::uint16_t entry = table.byNumber[fd].load(std::memory_order_acquire);
    return entry == 0 || entry == kSocket ? nullptr : &table.files[entry - 1];
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
    while (free < kMaxOpenFiles && table.files[free].references != 0) ++free;
    if (free == kMaxOpenFiles) return -ENFILE;
    const int fd = backingDescriptor(node, flags);
    if (fd < 0) return fd;
    if (fd >= kMaxDescriptor) {
        rawSystemCall(SYS_close, fd);
        return -EMFILE;
    }
    OpenFile& file = table.files[free];
    file.node = &node;
    file.flags = flags;
    file.offset = 0;
    file.references = 1;
    file.isStream = false;
    file.contentSize = 0;
    table.byNumber[fd].store(static_cast<std::uint16_t>(free + 1), std::memory_order_release);
    return fd;
}

void shareDescriptor(int from, int to) noexcept {
    const LockGuard guard(boardLock());
    OpenFile* const file = findDescriptor(from);
    if (file == nullptr || to < 0 || to >= kMaxDescriptor) return;
    ++file->references;
    table.byNumber[to].store(table.byNumber[from].load(std::memory_order_relaxed), std::memory_order_release);
}

void forgetDescriptor(int fd) noexcept {
    const LockGuard guard(boardLock());
    if (fd < 0 || fd >= kMaxDescriptor) return;
    if (OpenFile* const file = findDescriptor(fd)) --file->references;
    table.byNumber[fd].store(0, std::memory_order_release);
}

void forgetAllDescriptors() noexcept {
    const LockGuard guard(boardLock());
    for (int fd = 0; fd < kMaxDescriptor; ++fd) {
        if (table.byNumber[fd].load(std::memory_order_relaxed) != 0) forgetDescriptor(fd);
    }
}

}  // namespace halvexboard
