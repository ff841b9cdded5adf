// Ends a soak that makes no progress.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/watchdog.h"

#include <sys/syscall.h>

#include "board/preload/futexLock.h"
#include "tests/soak/ledger.h"

namespace soak {
namespace {

/// One second of the machine, not of the board.
void sleepOneRealSecond() noexcept {
    const timespec second{.tv_sec = 1, .tv_nsec = 0};
    halvexboard::rawSystemCall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, reinterpret_cast<long>(&second), 0);
}

[[noreturn]] void watch(unsigned seconds, std::uint64_t (*progress)(), std::string (*describe)()) noexcept {
    std::uint64_t seen = 0;
    for (unsigned still = 0;; ++still) {
        sleepOneRealSecond();
        const std::uint64_t now = progress();
        if (now != seen) still = 0;
        seen = now;
        if (still < seconds) continue;
        std::fprintf(stderr, "soak: no simulated hour in %u s: %s\n", seconds, describe().c_str());
        ledger().printLastLines();
        halvexboard::rawSystemCall(SYS_exit_group, 3);
    }
}

}  // namespace

void startWatchdog(unsigned seconds, std::uint64_t (*progress)(), std::string (*describe)()) {
    std::thread(watch, seconds, progress, describe).detach();
}

}  // namespace soak
