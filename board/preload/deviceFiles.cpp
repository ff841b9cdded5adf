// Opening, reading, writing and seeking on the board's files.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/deviceFiles.h"

#include <fcntl.h>
#include <poll.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/waiting.h"
#include "board/wire/ptp.h"

namespace halvexboard {

namespace {

/// sysfs rejects an access mode that the attribute's permission bits lack, for any user.
int accessError(const Node& node, int flags) noexcept {
    const int mode = flags & O_ACCMODE;
    switch (node.kind) {
        case NodeKind::directory:
        case NodeKind::directoryLink:
            return mode == O_RDONLY ? 0 : EISDIR;
        case NodeKind::constantText:
            return mode == O_RDONLY ? 0 : EACCES;
        case NodeKind::writeOnly:
            return mode == O_WRONLY ? 0 : EACCES;
        case NodeKind::program:
            return mode == O_RDONLY ? 0 : ETXTBSY;
        default:
            return (flags & O_DIRECTORY) != 0 ? ENOTDIR : 0;
    }
}

void readEvents(DeviceCall& call, OpenFile& file, void* buffer, std::size_t size) noexcept REQUIRES(boardLock()) {
    if (size % sizeof(board_wire_ptp_extts_event) != 0) {
        call.fail(EINVAL);
        return;
    }
    const auto room = static_cast<std::uint32_t>(
        std::min<std::size_t>(size / sizeof(board_wire_ptp_extts_event), BOARD_WIRE_PTP_READ_MAX));
    // The driver ignores O_NONBLOCK: a read without an event waits.
    while (board_phc_waiting(model(), rawNow(), file.interface()) == 0) {
        if (waitForModel(Deadline::never()) == WaitResult::interrupted) {
            call.fail(EINTR);
            return;
        }
    }
    call.refresh();
    board_phc_event events[BOARD_WIRE_PTP_READ_MAX];
    const int taken = board_phc_take(model(), call.rawNs(), file.interface(), events, room);
    if (taken < 0) {
        call.fail(-taken);
        return;
    }
    auto* out = static_cast<unsigned char*>(buffer);
    for (int i = 0; i < taken; ++i) {
        board_wire_ptp_extts_event event{};
        event.time.seconds = static_cast<std::int64_t>(events[i].time_ns / kNsPerSecond);
        event.time.nanoseconds = static_cast<std::uint32_t>(events[i].time_ns % kNsPerSecond);
        event.index = events[i].channel;
        event.flags = events[i].flags;
        std::memcpy(out, &event, sizeof event);
        out += sizeof event;
    }
    if (taken > 0) call.with(static_cast<std::int64_t>(events[0].time_ns));
    std::int64_t transferred = out - static_cast<unsigned char*>(buffer);
    if (call.shortCount() >= 0) transferred = std::min<std::int64_t>(transferred, call.shortCount());
    call.succeed(transferred);
}

void readText(DeviceCall& call, OpenFile& file, void* buffer, std::size_t size) noexcept REQUIRES(boardLock()) {
    // As in the kernel, a read from the start renders the attribute again; other reads continue.
    if (file.offset == 0) {
        const int rendered = renderContent(file, call.rawNs());
        if (rendered < 0) {
            call.fail(-rendered);
            return;
        }
    }
    const std::int64_t left = std::max<std::int64_t>(0, file.contentSize - file.offset);
    auto count = std::min<std::int64_t>(left, static_cast<std::int64_t>(std::min<std::size_t>(size, SSIZE_MAX)));
    if (call.shortCount() >= 0) count = std::min<std::int64_t>(count, call.shortCount());
    if (count > 0) std::memcpy(buffer, file.content + file.offset, static_cast<std::size_t>(count));
    file.offset += count;
    call.succeed(count);
}

}  // namespace

int openNode(const Node& node, int flags) noexcept {
    DeviceCall call(BOARD_CALL_OPEN, node.target, node.file);
    call.with(flags);
    if (!call.isFaulted()) {
        const int refused = accessError(node, flags);
        const int fd = refused != 0 ? -refused : makeDescriptor(node, flags);
        call.succeed(fd);
    }
    return static_cast<int>(call.finish());
}

int openMissing() noexcept {
    DeviceCall call(BOARD_CALL_OPEN, BOARD_TARGET_ANY, BOARD_FILE_ANY);
    if (!call.isFaulted()) call.fail(ENOENT);
    return static_cast<int>(call.finish());
}

ssize_t readFile(OpenFile& file, void* buffer, std::size_t size) noexcept {
    const bool fromStream = file.isStream;
    DeviceCall call(fromStream ? BOARD_CALL_FREAD : BOARD_CALL_READ, file.node()->target, file.node()->file);
    call.with(static_cast<std::int64_t>(size));
    if (!file.canRead())
        call.fail(EBADF);
    else if (call.isFaulted())
        return call.finish();
    else if (board_present(model(), file.node()->target) == 0)
        call.fail(ENODEV);
    else if (file.node()->kind == NodeKind::ptpDevice)
        readEvents(call, file, buffer, size);
    else if (file.node()->kind == NodeKind::directory || file.node()->kind == NodeKind::directoryLink)
        call.fail(EISDIR);
    else if (file.node()->kind == NodeKind::driverNode)  // the drivers cannot be read
        call.fail(EINVAL);
    else
        readText(call, file, buffer, size);
    return call.finish();
}

ssize_t writeFile(OpenFile& file, const void* buffer, std::size_t size) noexcept {
    DeviceCall call(BOARD_CALL_WRITE, file.node()->target, file.node()->file);
    call.with(static_cast<std::int64_t>(size));
    if (!file.canWrite())
        call.fail(EBADF);
    else if (call.isFaulted())
        return call.finish();
    else if (board_present(model(), file.node()->target) == 0 || file.node()->kind == NodeKind::writeOnly)
        call.fail(ENODEV);  // also: no such device to bind
    else if (file.node()->kind != NodeKind::ppbOffset)
        call.fail(EINVAL);
    else if (call.shortCount() >= 0)
        call.succeed(
            std::min<std::int64_t>(call.shortCount(), static_cast<std::int64_t>(size)));  // the driver is not called
    else {
        const auto length = static_cast<std::uint32_t>(std::min<std::size_t>(size, OpenFile::kContentSize));
        const int stored = board_si514_store(model(), call.rawNs(), static_cast<const char*>(buffer), length);
        if (stored > 0) file.offset += stored;
        call.succeed(stored);
    }
    return call.finish();
}

off_t seekFile(OpenFile& file, off_t offset, int whence) noexcept {
    DeviceCall call(BOARD_CALL_LSEEK, file.node()->target, file.node()->file);
    call.with(offset).with(whence);
    if (call.isFaulted()) return call.finish();
    const bool isStreamDevice = file.node()->kind == NodeKind::ptpDevice || file.node()->kind == NodeKind::driverNode;
    std::int64_t base = 0;
    if (whence == SEEK_CUR)
        base = file.offset;
    else if (whence == SEEK_END)
        base = static_cast<std::int64_t>(OpenFile::kContentSize);  // the size that sysfs reports
    if (isStreamDevice)
        call.fail(ESPIPE);
    else if ((whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) || base + offset < 0)
        call.fail(EINVAL);
    else if (call.shortCount() >= 0)
        call.succeed(call.shortCount());
    else {
        file.offset = base + offset;
        call.succeed(file.offset);
    }
    return call.finish();
}

bool closeFile(OpenFile& file) noexcept {
    DeviceCall call(BOARD_CALL_CLOSE, file.node()->target, file.node()->file);
    if (!call.isFaulted()) call.succeed(0);
    return call.finish() == 0;
}

int renderContent(OpenFile& file, std::uint64_t rawNs) noexcept {
    int length = 0;
    if (file.node()->kind == NodeKind::ppbOffset) {
        length = board_si514_show(model(), rawNs, file.content, OpenFile::kContentSize);
    } else if (file.node()->kind == NodeKind::constantText) {
        length = static_cast<int>(std::min(std::strlen(file.node()->text), OpenFile::kContentSize));
        std::memcpy(file.content, file.node()->text, static_cast<std::size_t>(length));
    }
    file.contentSize = length > 0 ? static_cast<std::uint32_t>(length) : 0;
    return length;
}

bool isAlwaysReady(const OpenFile& file) noexcept { return file.node()->kind != NodeKind::ptpDevice; }

std::uint32_t readiness(const OpenFile& file, std::uint32_t events) noexcept {
    if (board_present(model(), file.node()->target) == 0) return POLLERR | POLLHUP;
    if (isAlwaysReady(file)) return events & (POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM);
    return isReadable(file) ? events & (POLLIN | POLLRDNORM) : 0;
}

bool isReadable(const OpenFile& file) noexcept {
    return isAlwaysReady(file) || board_phc_waiting(model(), rawNow(), file.interface()) != 0;
}

}  // namespace halvexboard
