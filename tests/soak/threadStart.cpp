// Makes thread creation fail: the shims, which serve the library, call the next pthread_create in search order, this
// one.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/threadStart.h"

#include "tests/support/standard.h"

namespace {

int (*ask)() = nullptr;

}  // namespace

void soak::askBeforeEachThread(int (*refusal)()) { ask = refusal; }

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Function* const real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "pthread_create"));
    const int error = ask != nullptr ? ask() : 0;
    return error != 0 ? error : real(thread, attributes, body, argument);
}
