// Detects changes between two samples of the clocks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/sampleEvents.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/output/units.h"

namespace halvexctl {
namespace {

const ClockSample* findClock(const Sample* sample, const std::string& name) {
    if (sample == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(sample->clocks.begin(), sample->clocks.end(),
                                    [&name](const ClockSample& clock) { return clock.name == name; });
    return found == sample->clocks.end() ? nullptr : &*found;
}

/// Collects the changes; without a previous sample, everything was well.
class Comparison {
public:
    void change(bool was, bool is, const std::string& subject, SampleEvent better, SampleEvent worse) {
        if (was != is) {
            SampleEvent event = is ? std::move(better) : std::move(worse);
            event.subject = subject;
            event.isGood = is;
            events_.push_back(std::move(event));
        }
    }
    void add(SampleEvent event) { events_.push_back(std::move(event)); }
    std::vector<SampleEvent> take() { return std::move(events_); }

private:
    std::vector<SampleEvent> events_;
};

void compareClock(const ClockSample* before, const ClockSample& now, Comparison& comparison) {
    const std::string& name = now.name;
    comparison.change(before == nullptr || before->isUp.value_or(true), now.isUp.value_or(true), name,
                      {"link-up", "", true, fmt::format("{}'s link is up", name)},
                      {"link-down", "", false, fmt::format("{}'s link is down", name)});
    const SampleEvent lost =
        now.isGone ? SampleEvent{"clock-gone", "", false, fmt::format("{} is gone: {}", name, now.error)}
                   : SampleEvent{"clock-unreadable", "", false, fmt::format("{} cannot be read: {}", name, now.error)};
    comparison.change(before == nullptr || before->cross.has_value(), now.cross.has_value(), name,
                      {"clock-readable", "", true, fmt::format("{} can be read again", name)}, lost);
    const std::string offset = now.differenceNs ? offsetText(*now.differenceNs) : "nothing";
    comparison.change(before == nullptr || !before->isAway, !now.isAway, name,
                      {"clock-back", "", true,
                       fmt::format("{} is back within {}, as far as can be seen", name, durationText(now.limitNs))},
                      {"clock-away", "", false, fmt::format("{} is away by {}", name, offset)});
    if (now.jumpNs) {
        comparison.add({"clock-jumped", name, false, fmt::format("{} jumped by {}", name, offsetText(*now.jumpNs))});
    }
}

}  // namespace

std::vector<SampleEvent> eventsBetween(const Sample* before, const Sample& now) {
    Comparison comparison;
    for (const ClockSample& clock : now.clocks) {
        const ClockSample* earlier = findClock(before, clock.name);
        if (before != nullptr && earlier == nullptr) {
            comparison.add({"clock-found", clock.name, true, fmt::format("{} was not there before", clock.name)});
        }
        compareClock(earlier, clock, comparison);
    }
    if (before != nullptr && before->childIsAlive && now.childIsAlive) {
        comparison.change(*before->childIsAlive, *now.childIsAlive, "", {"phc2sys-running", "", true, "phc2sys runs"},
                          {"phc2sys-gone", "", false, "phc2sys does not run any more"});
    }
    if (before != nullptr && before->reference != now.reference) {
        comparison.add({"reference", now.reference, true,
                        now.reference.empty() ? "there is no clock to compare with"
                                              : fmt::format("clocks are compared with {} from now on", now.reference)});
    }
    if (before != nullptr && now.errorCount > before->errorCount) {
        comparison.add({"library-error", "", false, now.lastError});
    }
    return comparison.take();
}

}  // namespace halvexctl
