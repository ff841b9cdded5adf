// Allocation failures for the library only.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/allocationFaults.h"

#include "tests/support/standard.h"

namespace faults {

constinit thread_local bool isInsideLibrary = false;

namespace {

constexpr std::size_t kSlots = 1 << 16;

constinit std::atomic<bool> isTracking{false};
constinit std::atomic<bool> isRefusing{false};
constinit std::atomic<long> counted{0};
constinit std::atomic<long> refusedPosition{0};
constinit std::atomic<bool> isForEver{false};
constinit std::atomic<long> live{0};
constinit std::array<std::atomic<std::uintptr_t>, kSlots> blocks{};
constexpr std::uintptr_t kFreed = 1;

std::size_t slotOf(std::uintptr_t block) { return (block >> 4) * 0x9E3779B97F4A7C15U >> 48; }

/// Whether the current allocation is refused.
bool isRefused() {
    if (!isInsideLibrary || !isTracking.load()) return false;
    const long position = ++counted;
    if (!isRefusing.load()) return false;
    const long refused = refusedPosition.load();
    return refused != 0 && (position == refused || (isForEver.load() && position > refused));
}

void* track(void* memory) {
    if (memory == nullptr || !isInsideLibrary || !isTracking.load()) return memory;
    const auto block = reinterpret_cast<std::uintptr_t>(memory);
    for (std::size_t slot = slotOf(block);; slot = (slot + 1) % kSlots) {
        std::uintptr_t expected = blocks[slot].load();
        if ((expected == 0 || expected == kFreed) && blocks[slot].compare_exchange_strong(expected, block)) break;
    }
    ++live;
    return memory;
}

void untrack(void* memory) {
    if (memory == nullptr || !isTracking.load()) return;
    const auto block = reinterpret_cast<std::uintptr_t>(memory);
    for (std::size_t slot = slotOf(block); blocks[slot].load() != 0; slot = (slot + 1) % kSlots) {
        std::uintptr_t expected = block;
        if (!blocks[slot].compare_exchange_strong(expected, kFreed)) continue;
        --live;
        return;
    }
}

}  // namespace

void refuseAllocation(long position, bool forEver) {
    counted = 0;
    refusedPosition = position;
    isForEver = forEver;
    isRefusing = true;
    isTracking = true;
}

void allowAllocations() { isRefusing = false; }
long countLibraryAllocations() { return counted; }
long countLiveAllocations() { return live; }

void forgetAllocations() {
    isTracking = false;
    isRefusing = false;
    for (auto& block : blocks) {
        if (block.load() != 0) block = 0;
    }
    live = 0;
}

}  // namespace faults

// A sanitizer keeps its own allocator; only operator new is then refused.
#ifdef HALVEX_SANITIZER

void* operator new(std::size_t size) {
    if (faults::isRefused()) throw std::bad_alloc();
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return faults::track(memory);
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept {
    faults::untrack(memory);
    std::free(memory);
}
void operator delete[](void* memory) noexcept { operator delete(memory); }
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
void operator delete[](void* memory, std::size_t) noexcept { operator delete(memory); }

#else

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void __libc_free(void* memory);

[[gnu::visibility("default")]] void* malloc(size_t size) {
    if (!faults::isRefused()) return faults::track(__libc_malloc(size));
    errno = ENOMEM;
    return nullptr;
}

[[gnu::visibility("default")]] void* calloc(size_t count, size_t size) {
    if (!faults::isRefused()) return faults::track(__libc_calloc(count, size));
    errno = ENOMEM;
    return nullptr;
}

[[gnu::visibility("default")]] void* realloc(void* memory, size_t size) {
    if (faults::isRefused()) {
        errno = ENOMEM;
        return nullptr;
    }
    faults::untrack(memory);
    return faults::track(__libc_realloc(memory, size));
}

[[gnu::visibility("default")]] void free(void* memory) {
    faults::untrack(memory);
    __libc_free(memory);
}

}  // extern "C"

#endif
