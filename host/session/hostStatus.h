// The host's status structure and the buffer behind it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "zuerr/zuerr_Status.h"

namespace halvexctl {

/// Grows (or with `size` 0 frees) the buffer of a host's status, in steps of 256 bytes: the text is kept, zeros follow
/// it, and 'J' stands in the last byte. False, and nothing changed, when there is no memory. Reentrant.
bool reallocJson(zuerr_Status* status, std::uint32_t size) noexcept;

/// One status as a host keeps it: made once, passed to call after call. Owns the buffer. Threads: thread-bound.
class HostStatus {
public:
    HostStatus() noexcept : status_{0, 0, &reallocJson, nullptr} {}
    ~HostStatus() { reallocJson(&status_, 0); }
    HostStatus(const HostStatus&) = delete;
    HostStatus& operator=(const HostStatus&) = delete;

    zuerr_Status* get() noexcept { return &status_; }
    std::int32_t code() const noexcept { return status_.code; }
    std::string information() const { return status_.json == nullptr ? std::string() : status_.json; }
    void clear() noexcept;  ///< Back to success; the buffer is freed.
    void swap(HostStatus& other) noexcept { std::swap(status_, other.status_); }

private:
    zuerr_Status status_;
};

}  // namespace halvexctl
