// Memory allocated and not yet freed in this process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace soak {

struct LiveMemory {
    std::int64_t blocks = 0;
    std::int64_t bytes = 0;  ///< As rounded by the allocator.
};

LiveMemory liveMemory() noexcept;

/// Not with an address sanitizer: it has its own allocator, which delays freeing, and its own leak check.
#ifdef HALVEX_ADDRESS_SANITIZER
inline constexpr bool kCountsMemory = false;
#else
inline constexpr bool kCountsMemory = true;
#endif

}  // namespace soak
