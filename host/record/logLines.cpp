// Collects this process's syslog lines, including the library's, for a record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/logLines.h"

#include <time.h>

#include <atomic>
#include <utility>

#include "host/output/units.h"
#include "locks/annotatedLocks.h"

namespace halvexctl {
namespace {

constexpr std::size_t kMostWaiting = 10'000;

// Used by threads of the library at any time.
std::atomic<bool> isKept{false};
locks::Mutex waitingMutex;
std::vector<LogLine> waiting GUARDED_BY(waitingMutex);
std::uint64_t lostCount GUARDED_BY(waitingMutex) = 0;

std::int64_t readNs(clockid_t clock) noexcept {
    timespec now{};
    return ::clock_gettime(clock, &now) == 0 ? now.tv_sec * kNsPerSecond + now.tv_nsec : 0;
}

}  // namespace

LogLines::LogLines() {
    const locks::LockGuard guard(waitingMutex);
    waiting.clear();
    lostCount = 0;
    isKept = true;
}

LogLines::~LogLines() { isKept = false; }

std::vector<LogLine> LogLines::take() {
    const locks::LockGuard guard(waitingMutex);
    return std::exchange(waiting, {});
}

std::uint64_t LogLines::lost() const {
    const locks::LockGuard guard(waitingMutex);
    return lostCount;
}

bool areLogLinesKept() noexcept { return isKept; }

void keepLogLine(int priority, const char* text) noexcept {
    const std::int64_t rawNs = readNs(CLOCK_MONOTONIC_RAW);
    const auto systemNs = static_cast<std::uint64_t>(readNs(CLOCK_REALTIME));
    const locks::LockGuard guard(waitingMutex);
    try {
        if (waiting.size() < kMostWaiting) {
            waiting.push_back({rawNs, systemNs, priority, text});
            return;
        }
    } catch (const std::exception&) {  // out of memory: must not affect the library
    }
    ++lostCount;
}

}  // namespace halvexctl
