// What /proc says about threads and processes of the machine, read by system calls that no shim sees.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/procText.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/preload/futexLock.h"

namespace halvexboard {

ProcText::ProcText(std::uint32_t threadId, const char* name) noexcept {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%u/%s", threadId, name);
    const long fd = rawSystemCall(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path), O_RDONLY | O_CLOEXEC);
    const long size = fd < 0 ? fd : rawSystemCall(SYS_read, fd, reinterpret_cast<long>(text_), sizeof text_ - 1);
    error_ = size < 0 ? -size : 0;
    if (fd >= 0) rawSystemCall(SYS_close, fd);
}

bool ProcText::isGone() const noexcept { return error_ == ENOENT || error_ == ESRCH; }

const char* ProcText::field(int number) const noexcept {
    const char* at = std::strrchr(text_, ')');
    for (; at != nullptr && number >= 0; --number) at = std::strchr(at + 1, ' ');
    return at != nullptr ? at + 1 : "";
}

bool ProcText::has(const char* set, int signal) const noexcept {
    constexpr int kHexadecimal = 16;
    const char* const at = std::strstr(text_, set);
    const std::uint64_t bits = at != nullptr ? std::strtoull(at + std::strlen(set), nullptr, kHexadecimal) : 0;
    return (bits >> (signal - 1) & 1U) != 0;
}

bool isHeldUp(std::uint32_t threadId) noexcept {
    const char state = *ProcText(threadId, "stat").field(0);
    return state == 'S' || state == 'T';
}

bool hasDied(std::uint32_t threadId) noexcept {
    constexpr int kThreads = 17;  // of which the first may have ended while others go on
    const ProcText stat(threadId, "stat");
    const char state = *stat.field(0);
    return stat.isGone() || ((state == 'Z' || state == 'X') && std::atoi(stat.field(kThreads)) <= 1);
}

}  // namespace halvexboard
