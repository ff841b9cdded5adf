// Handles fork and exit of the process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/process.h"

#include <atomic>

namespace halvexboard {

namespace {
constinit std::atomic<void (*)() noexcept> flushFunction{nullptr};
}  // namespace

void setFlushAtExit(void (*flush)() noexcept) noexcept { flushFunction.store(flush, std::memory_order_release); }

void flushAtExit() noexcept {
    if (auto* const flush = flushFunction.load(std::memory_order_acquire)) flush();
}

}  // namespace halvexboard
