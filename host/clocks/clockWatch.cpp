// Samples all clocks: the PTP clocks that the library uses, the system clock, and the master through the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockWatch.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "host/clocks/rawClock.h"
#include "host/errors/information.h"
#include "host/session/hostCalls.h"

namespace halvexctl {
namespace {

constexpr int kReadings = 5;

/// One clock's time between two readings of another: the narrowest of several brackets.
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

/// Looks for a child of this process: the library starts no other.
Phc2Sys lookForChild() {
    siginfo_t child{};
    const int result = ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);  // leaves it to be reaped by its owner
    const int error = errno;
    if (result == 0) {
        return {child.si_pid == 0, child.si_pid != 0};
    }
    return {error == ECHILD && areAllProcessesVisible() ? std::optional(false) : std::nullopt};
}

/// Looks in /proc, else for a child.
Phc2Sys lookForPhc2Sys() {
    Phc2Sys found;
    for (const ProcessFacts& process : gatherProcesses(kPhc2SysName)) {
        const std::int64_t processAgeNs = ageNs(process);
        if (process.hasEnded) {
            found.hasEnded = true;
        } else if (found.pid == 0 || processAgeNs < found.ageNs) {
            found.ageNs = processAgeNs;
            found.pid = process.pid;
        }
        found.isAlive = found.pid != 0;
    }
    return found.isAlive ? found : lookForChild();
}

/// Asks the one of the sample before alone: to read the names of all processes takes hundreds of calls.
Phc2Sys lookAgain(const Phc2Sys& before) {
    Phc2Sys found;
    if (before.pid != 0) {
        const auto process = gatherProcess(before.pid, kPhc2SysName);
        if (process && !process->hasEnded) {
            found = {true, false, ageNs(*process), before.pid};
        }
    } else if (before.isAlive.value_or(false)) {
        found = lookForChild();
    }
    return found.isAlive.value_or(false) ? found : lookForPhc2Sys();
}

CrossTime masterCounting(HostCalls& library) {
    const HostCalls::Quiet quiet(library);
    return bracket(systemTimeNs, [&library] { return library.getTimeNs(); });
}

ClockSample hardwareClock(const std::string& name, const std::string& node) {
    ClockSample sample;
    sample.name = name;
    PtpClock clock(node);  // reopened each time: interfaces may come and go
    sample.cross = clock.crossTime();
    sample.error = clock.errorText();
    sample.isUp = isInterfaceUp(name);
    return sample;
}

ClockSample goneClock(const std::string& name, const std::string& why) {
    ClockSample sample;
    sample.name = name;
    sample.isGone = true;
    sample.error = why;
    return sample;
}

}  // namespace

ClockWatch::ClockWatch(LibraryErrors errors) : errors_(errors) {}

/// Clocks come and go; a clock once seen stays in the list.
void ClockWatch::lookForClocks() {
    for (KnownClock& known : clocks_) {
        known.whyGone = "no such interface";
    }
    for (InterfaceFacts& interface : gatherInterfaces()) {
        interface.nodeIsAllowed = true;  // the library's user may write; this one only reads
        const Choice choice = choiceOf(interface);
        const auto place =
            std::lower_bound(clocks_.begin(), clocks_.end(), interface.name,
                             [](const KnownClock& known, const std::string& name) { return known.interface < name; });
        if (place != clocks_.end() && place->interface == interface.name) {
            // A present clock that does not answer is unreadable and reports that itself.
            *place = {interface.name, interface.node, interface.nodeIsThere ? "" : choice.reason};
        } else if (choice.isChosen || (choice.endsInitialisation && interface.nodeIsThere)) {
            clocks_.insert(place, {interface.name, interface.node, ""});
        }
    }
}

/// No alarm for a phc2sys that this session's library has ended.
void ClockWatch::judgeChild(bool libraryIsUp, Sample& sample) {
    const Phc2Sys found = child_ = lookAgain(child_);
    const bool isFinalized = libraryWasUp_ && !libraryIsUp;
    libraryWasUp_ = libraryWasUp_ || libraryIsUp;
    sample.childIsAlive = found.isAlive;
    sample.childAgeNs = found.ageNs;
    sample.childIsDead = !isFinalized && found.isAlive == false && (childWasAlive_ || found.hasEnded);
    childWasAlive_ = !isFinalized && (childWasAlive_ || found.isAlive.value_or(false));
}

Sample ClockWatch::take(HostCalls* library) {
    Sample sample;
    lookForClocks();
    const CrossTime system = bracket(rawTimeNs, systemTimeNs);
    sample.rawNs = static_cast<std::int64_t>(system.systemNs);
    sample.systemNs = static_cast<std::uint64_t>(sample.rawNs + system.differenceNs);
    sample.systemBoundNs = system.boundNs;
    if (library != nullptr) {
        sample.clocks.push_back(master(*library));
    }
    for (const KnownClock& known : clocks_) {
        sample.clocks.push_back(known.whyGone.empty() ? hardwareClock(known.interface, known.node)
                                                      : goneClock(known.interface, known.whyGone));
    }
    sample.hasNoPtpClock =
        std::all_of(clocks_.begin(), clocks_.end(), [](const KnownClock& known) { return !known.whyGone.empty(); });
    ClockSample realtime;
    realtime.name = kSystemClockName;
    realtime.limitNs = kSystemAlarmNs;
    realtime.cross = CrossTime{sample.systemNs, 0, 0};
    sample.clocks.push_back(realtime);
    sample.steeringPpb = readSteeringPpb();
    judgeChild(library != nullptr, sample);
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
            throw;  // an earlier error of the user's own calls
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

/// An error of the library's monitoring thread is reported once, instead of the time; the next read succeeds.
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
