// Counts allocations by operator new.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/allocationCount.h"

#include "tests/support/standard.h"

namespace {

thread_local long allocations = 0;

void* allocate(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

long testsupport::countAllocations() { return allocations; }

// The C++ library must find all of them; clang would hide the sized forms, which it does not treat as system functions.
#pragma GCC visibility push(default)
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
#pragma GCC visibility pop
