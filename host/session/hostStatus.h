// The host's status structure and the buffer behind it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "zuerr/zuerr_Status.h"

namespace halvexctl {

/// Grows (or with `size` 0 frees) the buffer of a host's status, in steps of 256 bytes: keeps the text, followed by
/// zeros and 'J' in the last byte. Returns false and changes nothing if out of memory. Reentrant.
bool reallocJson(zuerr_Status* status, std::uint32_t size) noexcept;

/// A host's status: made once, passed to every call. Owns the buffer. Threads: thread-bound.
class HostStatus {
public:
    HostStatus() noexcept : status_{0, 0, &reallocJson, nullptr} {}
    ~HostStatus() { reallocJson(&status_, 0); }
    HostStatus(const HostStatus&) = delete;
    HostStatus& operator=(const HostStatus&) = delete;

    zuerr_Status* get() noexcept { return &status_; }
    std::int32_t code() const noexcept { return status_.code; }
    std::string information() const { return status_.json == nullptr ? std::string() : status_.json; }
    void clear() noexcept;  ///< Resets to success and frees the buffer.
    void swap(HostStatus& other) noexcept { std::swap(status_, other.status_); }

private:
    zuerr_Status status_;
};

}  // namespace halvexctl
