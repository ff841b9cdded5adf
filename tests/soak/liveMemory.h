// How much memory is allocated and not yet freed, by anybody in this process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace soak {

struct LiveMemory {
    std::int64_t blocks = 0;
    std::int64_t bytes = 0;  ///< As the allocator rounds them.
};

LiveMemory liveMemory() noexcept;

/// Not with an address sanitizer, whose allocator is its own and keeps what was freed for a while; it looks for leaks
/// itself.
#ifdef HALVEX_ADDRESS_SANITIZER
inline constexpr bool kCountsMemory = false;
#else
inline constexpr bool kCountsMemory = true;
#endif

}  // namespace soak
