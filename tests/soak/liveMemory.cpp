// Counts memory from malloc and free for every thread and library of the process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/liveMemory.h"

#ifdef HALVEX_ADDRESS_SANITIZER

soak::LiveMemory soak::liveMemory() noexcept { return {}; }

#else

#include <malloc.h>

namespace {

constinit std::atomic<std::int64_t> blocks{0};
constinit std::atomic<std::int64_t> bytes{0};

void* counted(void* memory) noexcept {
    if (memory != nullptr) {
        blocks.fetch_add(1, std::memory_order_relaxed);
        bytes.fetch_add(static_cast<std::int64_t>(malloc_usable_size(memory)), std::memory_order_relaxed);
    }
    return memory;
}

void discount(void* memory) noexcept {
    if (memory == nullptr) return;
    blocks.fetch_sub(1, std::memory_order_relaxed);
    bytes.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(memory)), std::memory_order_relaxed);
}

}  // namespace

soak::LiveMemory soak::liveMemory() noexcept {
    return {blocks.load(std::memory_order_relaxed), bytes.load(std::memory_order_relaxed)};
}

extern "C" {

void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* memory, std::size_t size) noexcept;
void* __libc_memalign(std::size_t alignment, std::size_t size) noexcept;
void __libc_free(void* memory) noexcept;

void* malloc(std::size_t size) noexcept { return counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept { return counted(__libc_calloc(count, size)); }

void* realloc(void* memory, std::size_t size) noexcept {
    discount(memory);
    void* const moved = __libc_realloc(memory, size);
    if (moved != nullptr) return counted(moved);
    if (size != 0) counted(memory);  // a failed realloc leaves the block allocated
    return nullptr;
}

void free(void* memory) noexcept {
    discount(memory);
    __libc_free(memory);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept { return counted(__libc_memalign(alignment, size)); }

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    *memory = memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

#endif
