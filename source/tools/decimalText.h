// A number in decimal digits, for messages and attribute files.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

namespace halvexTimekeeper {

/// Formats like %ld or %lu in any locale. Threads: reentrant. Failure: none, and nothing is allocated; the text lives
/// as long as the object.
class DecimalText {
public:
    template <typename Integer>
    explicit DecimalText(Integer value) noexcept
        : length_(static_cast<std::size_t>(std::to_chars(buffer_, buffer_ + kCapacity, value).ptr - buffer_)) {}
    DecimalText(const DecimalText&) = delete;
    DecimalText& operator=(const DecimalText&) = delete;

    operator std::string_view() const noexcept { return {buffer_, length_}; }

private:
    static constexpr std::size_t kCapacity = 32;

    char buffer_[kCapacity];
    std::size_t length_;
};

}  // namespace halvexTimekeeper
