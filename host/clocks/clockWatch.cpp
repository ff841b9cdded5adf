// Takes samples of every clock: the PTP clocks that the library takes, the system clock, and the master by the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockWatch.h"

#include <sys/wait.h>

#include <cerrno>
#include <limits>

#include "host/clocks/rawClock.h"
#include "host/errors/information.h"
#include "host/inspect/systemFiles.h"
#include "host/session/hostCalls.h"

namespace halvexctl {
namespace {

constexpr int kReadings = 5;

/// One clock's time between two readings of another: the narrowest of some.
template <typename Outer, typename Inner>
CrossTime bracket(Outer outerNs, Inner innerNs) {
    CrossTime best{0, 0, std::numeric_limits<std::int64_t>::max()};
    for (int i = 0; i < kReadings; ++i) {
        const std::int64_t beforeNs = outerNs();
        const auto clockNs = static_cast<std::int64_t>(innerNs());
        const std::int64_t widthNs = outerNs() - beforeNs;
        if (widthNs >= 0 && (widthNs + 1) / 2 < best.boundNs) {
            const std::int64_t middleNs = beforeNs + widthNs / 2;
            best = {static_cast<std::uint64_t>(middleNs), clockNs - middleNs, (widthNs + 1) / 2};
        }
    }
    return best;
}

/// Whether a phc2sys runs: one that /proc shows, or else a living child of this process (the library starts no other).
std::optional<bool> isPhc2SysAlive() {
    for (const std::string& name : namesIn("/proc")) {
        if (readFirstLine("/proc/" + name + "/comm") == "phc2sys") {
            const std::string status = readFirstLine("/proc/" + name + "/stat").value_or("");
            if (status.find(") Z ") == std::string::npos) {
                return true;
            }
        }
    }
    siginfo_t child{};
    const int result = ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);  // looks, and leaves it to its owner
    const int error = errno;
    if (result != 0) {
        return error == ECHILD ? std::optional(false) : std::nullopt;
    }
    return child.si_pid == 0;
}

CrossTime masterCounting(HostCalls& library) {
    const HostCalls::Quiet quiet(library);
    return bracket(systemTimeNs, [&library] { return library.getTimeNs(); });
}

ClockSample hardwareClock(const std::string& name, const std::string& node) {
    ClockSample sample;
    sample.name = name;
    PtpClock clock(node);  // opened anew: an interface may come and go
    sample.cross = clock.crossTime();
    sample.error = clock.errorText();
    sample.isUp = isInterfaceUp(name);
    return sample;
}

}  // namespace

ClockWatch::ClockWatch(LibraryErrors errors) : errors_(errors) {
    for (const InterfaceFacts& interface : gatherInterfaces()) {
        if (choiceOf(interface).isChosen) {
            clocks_.emplace_back(interface.name, interface.node);
        }
    }
}

Sample ClockWatch::take(HostCalls* library) {
    Sample sample;
    const CrossTime system = bracket(rawTimeNs, systemTimeNs);
    sample.rawNs = static_cast<std::int64_t>(system.systemNs);
    sample.systemNs = static_cast<std::uint64_t>(sample.rawNs + system.differenceNs);
    sample.systemBoundNs = system.boundNs;
    if (library != nullptr) {
        sample.clocks.push_back(master(*library));
    }
    for (const auto& [name, node] : clocks_) {
        sample.clocks.push_back(hardwareClock(name, node));
    }
    ClockSample realtime;
    realtime.name = "CLOCK_REALTIME";
    realtime.cross = CrossTime{sample.systemNs, 0, 0};
    sample.clocks.push_back(realtime);
    sample.steeringPpb = readSteeringPpb();
    sample.childIsAlive = isPhc2SysAlive();
    sample.kernelClock = readKernelClock();
    sample.errorCount = errorCount_;
    sample.lastError = lastError_;
    compare(sample);
    return sample;
}

ClockSample ClockWatch::master(HostCalls& library) {
    ClockSample sample;
    sample.name = "master";
    try {
        sample.cross = errors_ == LibraryErrors::countAndReset ? masterCounting(library) : masterHandingOn(library);
    } catch (const CallFailure& failure) {
        if (failure.wasHeldBefore()) {
            throw;  // the user's own business, from before
        }
        ++errorCount_;
        lastError_ = describeError(failure.code(), failure.information());
        sample.error = lastError_;
        if (errors_ == LibraryErrors::countAndReset) {
            library.clearStatus();
        }
    }
    return sample;
}

/// An error of the library's own thread comes once and without a time; behind it the time can be read.
CrossTime ClockWatch::masterHandingOn(HostCalls& library) {
    const auto measure = [&library] { return library.measureTimeNs(); };
    try {
        return bracket(systemTimeNs, measure);
    } catch (const CallFailure& failure) {
        ++errorCount_;
        lastError_ = describeError(failure.code(), failure.information());
    }
    return bracket(systemTimeNs, measure);
}

}  // namespace halvexctl
