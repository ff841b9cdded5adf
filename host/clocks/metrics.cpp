// A watch in the text format of Prometheus.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/metrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "host/output/jsonPrinter.h"
#include "host/output/units.h"

namespace halvexctl {
namespace {

std::string heading(const char* name, const char* help, const char* type) {
    return fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type);
}

/// Quoted and UTF-8, whatever bytes a name holds.
std::string labelValue(std::string_view value) {
    std::string text = "\"";
    for (const char c : nlohmann::json::parse(jsonText(value)).get<std::string>()) {
        text += c == '\n' ? std::string("\\n") : c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    }
    return text + "\"";
}

/// One metric: its description, and its value for each clock that has one.
template <typename Value>
std::string ofClocks(const Sample& sample, const char* name, const char* help, Value value) {
    std::string text = heading(name, help, "gauge");
    for (const ClockSample& clock : sample.clocks) {
        if (const std::optional<double> number = value(clock)) {
            text += fmt::format("{}{{clock={}}} {:.9f}\n", name, labelValue(clock.name), *number);
        }
    }
    return text;
}

/// One metric: its value for each possible alarm, raised or not.
template <typename Value>
std::string ofAlarms(const Sample& sample, const char* name, const char* help, const char* type, Value value) {
    std::string text = heading(name, help, type);
    const auto add = [&](const Alarm& alarm) {
        text +=
            fmt::format("{}{{alarm=\"{}\",clock={}}} {}\n", name, alarm.name, labelValue(alarm.clock), value(alarm));
    };
    for (const ClockSample& clock : sample.clocks) {
        for (const char* alarm : {"away", "jumped", "unreadable", "gone"}) {
            add({alarm, clock.name});
        }
    }
    add({"none", ""});
    add({"dead", ""});
    return text;
}

std::string metric(const char* name, const char* help, std::optional<double> value, const char* type = "gauge") {
    return value ? heading(name, help, type) + fmt::format("{} {}\n", name, *value) : "";
}

std::optional<double> inSeconds(std::optional<std::int64_t> ns) {
    return ns ? std::optional(static_cast<double>(*ns) / kNsPerSecond) : std::nullopt;
}

std::optional<double> asRatio(std::optional<double> ppb) { return ppb ? std::optional(*ppb * 1e-9) : std::nullopt; }

std::optional<double> flag(bool isSet) { return isSet ? 1.0 : 0.0; }

/// One metric with a value for each of some labels.
template <typename Label, typename Values, typename Value>
std::string ofEach(const char* name, const char* help, const char* type, Label label, const Values& of, Value value) {
    std::string text = heading(name, help, type);
    for (const auto& one : of) {
        text += fmt::format("{}{{{}={}}} {}\n", name, label, labelValue(std::string_view(one)), value(one));
    }
    return text;
}

std::string healthMetrics(const Sample& sample, const WatchSummary& summary) {
    return ofEach("halvex_health", "1 for the state of the clocks together.", "gauge", "state", kHealthNames,
                  [&](std::string_view state) { return state == nameOf(sample.health) ? 1 : 0; }) +
           ofEach("halvex_health_entered_total", "How often this state began since the start.", "counter", "state",
                  kHealthNames, [&](std::string_view state) { return summary.entered(state); });
}

std::string alarmMetrics(const Sample& sample, const WatchSummary& summary) {
    const std::vector<Alarm> alarms = sample.alarms();
    return ofAlarms(sample, "halvex_alarm", "1 while there is this alarm.", "gauge",
                    [&](const Alarm& alarm) { return std::count(alarms.begin(), alarms.end(), alarm); }) +
           ofAlarms(sample, "halvex_alarms_total", "How often this alarm began since the start.", "counter",
                    [&](const Alarm& alarm) { return summary.begun(alarm); });
}

}  // namespace

std::string metricsOf(const Sample& sample, const WatchSummary& summary) {
    const auto present = std::ranges::count_if(sample.clocks, [](const ClockSample& clock) { return !clock.isGone; });
    const std::vector<std::string_view> reference(sample.reference.empty() ? 0 : 1, sample.reference);
    const KernelClockFacts& kernel = sample.kernelClock;
    return healthMetrics(sample, summary) +
           ofClocks(sample, "halvex_clock_difference_seconds", "How far the clock is ahead of the reference.",
                    [](const ClockSample& clock) { return inSeconds(clock.differenceNs); }) +
           ofClocks(
               sample, "halvex_clock_bound_seconds", "The difference is right to within this.",
               [](const ClockSample& clock) { return clock.differenceNs ? inSeconds(clock.boundNs) : std::nullopt; }) +
           ofClocks(sample, "halvex_clock_alarm", "1 while the clock is away, jumped, gone or cannot be read.",
                    [](const ClockSample& clock) { return flag(clock.isAway || clock.jumpNs || !clock.cross); }) +
           ofClocks(sample, "halvex_clock_link_up", "1 while the interface of the clock is up.",
                    [](const ClockSample& clock) { return clock.isUp ? flag(*clock.isUp) : std::nullopt; }) +
           metric("halvex_clocks", "Clocks that are there, the master and the system clock among them.",
                  static_cast<double>(present)) +
           ofEach("halvex_reference", "1 for the clock that the others are compared with.", "gauge", "clock", reference,
                  [](std::string_view) { return 1; }) +
           alarmMetrics(sample, summary) +
           metric("halvex_steering_ratio", "The oscillator's correction of its rate.", asRatio(sample.steeringPpb)) +
           metric("halvex_phc2sys_alive", "1 while phc2sys runs.",
                  sample.childIsAlive ? flag(*sample.childIsAlive) : std::nullopt) +
           (!kernel.isKnown
                ? ""
                : metric("halvex_kernel_synchronised", "1 while the kernel calls its clock synchronised.",
                         flag(kernel.isSynchronised)) +
                      metric("halvex_kernel_max_error_seconds", "The kernel's bound on the system clock's error.",
                             inSeconds(kernel.maxErrorNs)) +
                      metric("halvex_kernel_frequency_ratio", "The kernel's correction of its clock's rate.",
                             asRatio(kernel.frequencyPpb))) +
           metric("halvex_library_errors_total", "Errors of the library since the start.",
                  static_cast<double>(sample.errorCount), "counter") +
           metric("halvex_sample_time_seconds", "When this was measured, by the system clock.",
                  static_cast<double>(sample.systemNs) / kNsPerSecond) +
           ofEach("halvex_build_info", "1 for the version of the monitor.", "gauge", "version",
                  std::array{std::string_view(HALVEX_VERSION)}, [](std::string_view) { return 1; });
}

}  // namespace halvexctl
