// How much memory is allocated and not yet freed, by anybody in this process.
#pragma once

#include <cstdint>

namespace soak {

struct LiveMemory {
    std::int64_t blocks = 0;
    std::int64_t bytes = 0;  ///< As the allocator rounds them.
};

LiveMemory liveMemory() noexcept;

}  // namespace soak
