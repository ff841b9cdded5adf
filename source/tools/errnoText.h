// The system's text for an errno value.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace halvexTimekeeper {

/// Owns a small buffer for numbers without a text. Threads: reentrant. Failure: none, and nothing is allocated; the
/// text lives as long as the object.
class ErrnoText {
public:
    explicit ErrnoText(int error) noexcept : text_(strerror_r(error, buffer_, kCapacity)) {}
    ErrnoText(const ErrnoText&) = delete;
    ErrnoText& operator=(const ErrnoText&) = delete;

    operator std::string_view() const noexcept { return text_; }

private:
    static constexpr std::size_t kCapacity = 64;

    char buffer_[kCapacity];
    const char* text_;
};

}  // namespace halvexTimekeeper
