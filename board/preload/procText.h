// What /proc says about threads and processes of the machine, read by system calls that no shim sees.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexboard {

/// A short file of a thread below /proc.
class ProcText {
public:
    ProcText(std::uint32_t threadId, const char* name) noexcept;

    bool isGone() const noexcept;
    /// A field of `stat` behind the name, from 0, which is the state; "" if there are fewer.
    const char* field(int number) const noexcept;
    /// Whether a signal is in one of the sets of `status`.
    bool has(const char* set, int signal) const noexcept;

private:
    char text_[4096] = {};
    long error_ = 0;
};

/// Whether the thread waits in a system call, or is stopped by a signal.
bool isHeldUp(std::uint32_t threadId) noexcept;

}  // namespace halvexboard
