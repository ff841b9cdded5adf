// The operating-system calls of the devices, in a table that tests can replace, and conversions of Linux times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/select.h>
#include <sys/timex.h>

#include <ctime>
#include <functional>

#include "source/tools/qxmTimestamp.h"

namespace halvexTimekeeper {

/// The calls of the PTP clock support and the I210 device. Every entry is the Linux function of its name unless a test
/// replaces it; the product only reads the table. Owns nothing. Threads: entries may be called from any thread, and are
/// replaced only while no other thread calls them. Failure: an empty entry throws std::bad_function_call. `open` and
/// `ioctl` take a fixed number of arguments: std::function cannot hold variadic functions.
struct OsCalls {
    std::function<int(int clock, timespec* out)> clock_gettime;
    std::function<int(int clock, timex* buffer)> clock_adjtime;
    std::function<int(int domain, int type, int protocol)> socket;
    std::function<int(int fd, unsigned long request, void* argument)> ioctl;
    std::function<int(int fd)> close;
    std::function<int(const char* path, int flags)> open;
    std::function<long(int fd, void* buffer, unsigned long count)> read;
    std::function<int(int nfds, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)> select;
};

/// The only table of the process: made when the library is loaded and never destroyed, so that a device destroyed after
/// all other objects can still close its descriptors.
OsCalls& osCalls() noexcept;

/// Throws zuplaterr_osFault for a negative field, for 1,000,000,000 ns or more, and beyond the largest timestamp.
QxmTimestamp timespecToQxmTimestamp(const timespec& time);

timespec qxmTimestampToTimespec(QxmTimestamp timestamp) noexcept;

}  // namespace halvexTimekeeper
