// The chapters of the demo: what the host does, what is expected of it, and how that is checked in the trace.
#include "host/demo/story.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <cmath>
#include <cstdlib>

#include "host/demo/clockTable.h"

namespace halvexdemo {
namespace {

constexpr std::string_view kFirstPort = "enp1s0";
constexpr std::string_view kSecondPort = "enp2s0";
constexpr double kCrystalErrorPpb = 12'000;
constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr std::int64_t kStepGranularityNs = 200;
constexpr std::int64_t kReadAndSetNs = 100;  // the system clock is read, then set: it loses the time in between
constexpr std::int64_t kJumpNs = 250'000;
constexpr std::uint64_t kPromptlyNs = 500 * 1'000'000ull;

constexpr std::string_view kEmptyRecord = "13000000000000000000000000000000000000";
constexpr std::string_view kMetadata =
    R"({"selectedTRInstID":"gm1","selectedTROffset":"-250","TRs":{"gm1":{"name":"grandmaster","type":"IEEE 1588-2008",)"
    R"("protocolData":{"utcOffset":37}}}})";

std::string ppbText(double ppb) { return fmt::format("{:+.1f} ppb", ppb); }

std::string listed(const std::vector<std::string>& texts) {
    return texts.empty() ? "none" : fmt::format("{}", fmt::join(texts, "; "));
}

std::uint64_t rawNsOf(const Happening& happening) { return happening.at("raw_ns"); }

std::int64_t askedNsOf(const Happening& step) { return step.at("asked_ns"); }

void expectLogLine(const Evidence& evidence, Findings& findings, const std::string& line) {
    const bool logged = evidence.logged(line);
    findings.check(logged, fmt::format("syslog says \"{}\"", line), logged ? "it does" : "it does not");
}

void expectAlignment(const Evidence& evidence, Findings& findings) {
    const std::vector<std::string> lines =
        evidence.logLinesStarting("Successfully aligned all timekeeping elements after ");
    findings.check(!lines.empty(), "the alignment reports success", listed(lines));
}

/// The program's one step of a clock.
void expectStep(const Evidence& evidence, Findings& findings, const std::string& clock, std::int64_t offsetNs,
                std::int64_t toleranceNs) {
    const std::vector<Happening> steps = evidence.stepsByProgram(clock);
    const bool right = steps.size() == 1 && std::llabs(askedNsOf(steps.front()) - offsetNs) <= toleranceNs;
    std::vector<std::string> seen;
    for (const Happening& step : steps) {
        seen.push_back(groupedNs(askedNsOf(step)));
    }
    const std::string tolerance = toleranceNs == 0 ? "" : fmt::format(", within {} ns", toleranceNs);
    findings.check(right, fmt::format("{} is stepped once, by {}{}", clock, groupedNs(offsetNs), tolerance),
                   listed(seen));
}

std::optional<Truth> rightAfterTheStep(const Evidence& evidence) {
    const std::vector<Happening> steps = evidence.stepsByProgram("system");
    return steps.empty() ? std::nullopt : evidence.firstTruthAfter(rawNsOf(steps.back()));
}

// -- start ------------------------------------------------------------------------------------------------------------

void checkStart(const Evidence& evidence, Findings& findings) {
    expectLogLine(evidence, findings, fmt::format("System time will be synchronized to {}.", kFirstPort));
    std::vector<std::string> sources;
    for (const Happening& child : evidence.happenings("phc2sys")) {
        sources.push_back(child.at("source").is_string() ? child.at("source").get<std::string>() : "none");
    }
    findings.check(sources == std::vector<std::string>{std::string(kFirstPort)},
                   fmt::format("phc2sys is started once and follows {}", kFirstPort), listed(sources));

    // The master is brought to the system time: what it was behind, to the nearest multiple of 200 ns.
    const Truth::Clock system = *evidence.truthBefore().find("system");
    const std::vector<Happening> seeds = evidence.stepsByProgram("ferrox");
    const std::int64_t seedNs = seeds.empty() ? 0 : askedNsOf(seeds.front());
    const bool seeded =
        seeds.size() == 1 && seedNs % kStepGranularityNs == 0 && std::llabs(seedNs - system.differenceNs) < kNsPerMs;
    findings.check(
        seeded,
        fmt::format("the master is seeded once, by about {}, a multiple of 200 ns", groupedNs(system.differenceNs)),
        seeds.empty() ? "no step" : groupedNs(seedNs));
    expectAlignment(evidence, findings);
    findings.check(evidence.hostValues("seeded") == std::vector<std::string>{"yes"},
                   "the host sees that the time is seeded", listed(evidence.hostValues("seeded")));
}

// -- time -------------------------------------------------------------------------------------------------------------

void checkTime(const Evidence& evidence, Findings& findings) {
    const std::vector<std::string> printed = evidence.hostValues("since 1970");
    const std::uint64_t hostNs = printed.empty() ? 0 : std::strtoull(printed.front().c_str(), nullptr, 10);
    const std::uint64_t earliestNs = evidence.truthBefore().find("ferrox")->timeNs;
    const std::optional<Truth> after = evidence.firstTruthAfter(evidence.beganRawNs());
    const std::uint64_t latestNs = after ? after->find("ferrox")->timeNs : 0;
    findings.check(printed.size() == 1 && hostNs >= earliestNs && hostNs <= latestNs,
                   fmt::format("a time from {} to {} ns, the master's truth before and after", earliestNs, latestNs),
                   fmt::format("{} ns", hostNs));
}

// -- steps ------------------------------------------------------------------------------------------------------------

void checkStepBy(const Evidence& evidence, Findings& findings, std::int64_t offsetNs) {
    expectStep(evidence, findings, "ferrox", offsetNs, 0);
    expectStep(evidence, findings, "system", offsetNs, kReadAndSetNs);
    expectAlignment(evidence, findings);
}

void checkForwardStep(const Evidence& evidence, Findings& findings) { checkStepBy(evidence, findings, 1'500'000); }

void checkBackwardStep(const Evidence& evidence, Findings& findings) {
    const std::size_t said = evidence.hostLinesStarting("-399 ns is cut toward zero to -200 ns");
    findings.check(said == 1, "the host says beforehand that -399 ns is cut to -200 ns",
                   said == 1 ? "it does" : "it does not");
    checkStepBy(evidence, findings, -kStepGranularityNs);
}

// -- steering ---------------------------------------------------------------------------------------------------------

/// "+12000.3 ppb +- 0.4 ppb" as its two numbers.
struct PrintedDrift {
    double ratePpb = 0;
    double boundPpb = 0;
};

PrintedDrift readDrift(const std::string& text) {
    const std::size_t bound = text.find("+- ");
    return {std::strtod(text.c_str(), nullptr),
            bound == std::string::npos ? 0 : std::strtod(text.c_str() + bound + 3, nullptr)};
}

void expectDrift(const std::string& printed, Findings& findings, double truthPpb, std::string_view when) {
    constexpr double kReadingPpb = 1;  // a reading is printed to a tenth, a time is whole nanoseconds
    const PrintedDrift drift = readDrift(printed);
    findings.check(
        std::fabs(drift.ratePpb - truthPpb) <= drift.boundPpb + kReadingPpb && drift.boundPpb < kCrystalErrorPpb / 2,
        fmt::format("{} the host measures {} within its own bound", when, ppbText(truthPpb)), printed);
}

/// The moment with the largest difference of an enabled clock.
std::optional<Truth> atItsWorst(const Evidence& evidence) {
    std::optional<Truth> worst;
    std::int64_t worstNs = -1;
    for (const Truth& truth : evidence.truths()) {
        for (const Truth::Clock& clock : truth.clocks) {
            if (clock.enabled && std::llabs(clock.differenceNs) > worstNs) {
                worstNs = std::llabs(clock.differenceNs);
                worst = truth;
            }
        }
    }
    return worst;
}

void checkSteering(const Evidence& evidence, Findings& findings) {
    const std::vector<std::string> drifts = evidence.hostValues("drift");
    if (drifts.size() != 2) {
        findings.check(false, "the drift is measured twice", listed(drifts));
        return;
    }
    expectDrift(drifts[0], findings, kCrystalErrorPpb, "before steering");
    const std::vector<Happening> steerings = evidence.happenings("steering");
    const std::int64_t steeringPpt = steerings.empty() ? 0 : steerings.back().at("steering_ppt").get<std::int64_t>();
    findings.check(steerings.size() == 1 && steeringPpt == -12'000'000, "the oscillator is steered once, by -12000 ppb",
                   fmt::format("{} times, last by {} ppb", steerings.size(), steeringPpt / 1000));
    findings.check(evidence.hostValues("read back") == std::vector<std::string>{"-12000 ppb"},
                   "the driver reads -12000 ppb back", listed(evidence.hostValues("read back")));
    expectDrift(drifts[1], findings, 0, "after steering");
}

// -- metadata ---------------------------------------------------------------------------------------------------------

std::string numberOrNone(const Happening& value) {
    return value.is_number() ? fmt::format("{}", value.get<std::int64_t>()) : "none";
}

void checkMetadata(const Evidence& evidence, Findings& findings) {
    const std::vector<Happening> records = evidence.happenings("status_record");
    if (records.empty()) {
        findings.check(false, "the FPGA receives a status record", "none");
        return;
    }
    const Happening& record = records.front();
    const std::uint64_t afterNs = rawNsOf(record) - evidence.beganRawNs();
    findings.check(afterNs < kPromptlyNs, "the FPGA receives its record at once, not at the next two-second pass",
                   fmt::format("after {} us: {}", afterNs / 1000, record.at("record").get<std::string>()));
    findings.check(record.at("reference_kind") == 2, "the record says reference kind 2 (typed)",
                   numberOrNone(record.at("reference_kind")));
    findings.check(record.at("reference_offset") == -250, "its reference offset is -250",
                   numberOrNone(record.at("reference_offset")));
    findings.check(record.at("utc_offset") == 37, "its UTC offset is 37 s", numberOrNone(record.at("utc_offset")));
}

// -- interface down and up --------------------------------------------------------------------------------------------

std::optional<Happening> eventOf(const Evidence& evidence, const std::string& kind) {
    for (const Happening& event : evidence.happenings("event")) {
        if (event.at("event") == kind && event.at("target") == kSecondPort) {
            return event;
        }
    }
    return std::nullopt;
}

std::optional<Truth> asItComesUp(const Evidence& evidence) {
    const std::optional<Happening> jump = eventOf(evidence, "jump");
    return jump ? evidence.firstTruthAfter(rawNsOf(*jump)) : std::nullopt;
}

void checkInterface(const Evidence& evidence, Findings& findings) {
    const std::string port(kSecondPort);
    for (const char* kind : {"interface_down", "interface_up", "jump"}) {
        const std::optional<Happening> event = eventOf(evidence, kind);
        findings.check(
            event.has_value(), fmt::format("{}: {}", port, kind),
            event ? fmt::format("at {:.3f} s", static_cast<double>(rawNsOf(*event)) / 1e9) : "it did not happen");
    }
    const std::optional<Truth> up = asItComesUp(evidence);
    const Truth::Clock* clock = up ? up->find(port) : nullptr;
    findings.check(clock != nullptr && clock->enabled && std::llabs(clock->differenceNs - kJumpNs) < kJumpNs / 10,
                   fmt::format("it comes up with its clock about {} off", groupedNs(kJumpNs)),
                   clock == nullptr ? "unknown" : groupedNs(clock->differenceNs));
    expectLogLine(evidence, findings, fmt::format("i210EpochDevice_{} is enabled.", port));
    expectAlignment(evidence, findings);
    std::vector<std::string> steps;
    for (const Happening& step : evidence.stepsByProgram(port)) {
        steps.push_back(groupedNs(askedNsOf(step)));
    }
    findings.check(!steps.empty(), "its clock, and no other, is stepped until it agrees", listed(steps));
    for (const char* other : {"ferrox", "fpga", "system", "enp1s0"}) {
        const std::size_t count = evidence.stepsByProgram(other).size();
        findings.check(count == 0, fmt::format("{} is not stepped", other), fmt::format("{} steps", count));
    }
}

// -- an error of the monitoring thread --------------------------------------------------------------------------------

void checkError(const Evidence& evidence, Findings& findings) {
    const std::vector<Happening> faults = evidence.happenings("fault");
    findings.check(faults.size() == 1, "the FPGA's driver fails once", fmt::format("{} times", faults.size()));
    const std::vector<std::string> lines = evidence.logLinesStarting("Monitoring thread encountered an error: FAIL(");
    findings.check(lines.size() == 1, "the monitoring thread logs it once", listed(lines));
    const std::string code = lines.empty() ? "?" : lines.front().substr(lines.front().find('(') + 1, 6);
    const std::vector<std::string> errors = evidence.hostValues("failed as expected");
    findings.check(errors.size() == 1 && errors.front().find(": ") != std::string::npos &&
                       errors.front().find(code) != std::string::npos,
                   fmt::format("the next call fails with the same code, {}, and reads no time", code), listed(errors));
    const std::vector<std::string> times = evidence.hostValues("since 1970");
    findings.check(times.size() == 1, "the call after that succeeds", listed(times));
}

// -- shutdown ---------------------------------------------------------------------------------------------------------

void checkShutdown(const Evidence& evidence, Findings& findings) {
    std::vector<std::string> ends;
    for (const Happening& child : evidence.happenings("phc2sys")) {
        ends.push_back(child.at("state").get<std::string>() +
                       (child.contains("signal") ? " by signal " + child.at("signal").dump() : ""));
    }
    findings.check(ends == std::vector<std::string>{"killed by signal 9"}, "phc2sys is killed with signal 9",
                   listed(ends));
    const std::vector<Happening> records = evidence.happenings("status_record");
    const std::string last = records.empty() ? "no record" : records.back().at("record").get<std::string>();
    findings.check(last == kEmptyRecord, "the FPGA's status is reset: the last record is empty except for its size",
                   last);
    const std::vector<std::string> errors = evidence.logLinesStarting("Encountered error");
    findings.check(errors.empty(), "nothing is complained about", listed(errors));
}

const std::array<Chapter, 9> kChapters{{
    {"Start: seed the time, align every clock",
     "The master is brought to the system time, phc2sys follows the first port, and all clocks come within 100 ns,\n"
     "although every step of a slave loses 1.5 us.",
     {"info", "wait", "20s"},
     &checkStart,
     "",
     nullptr},
    {"Time", "The host reads the master's time.", {"get", "wait", "1s"}, &checkTime, "", nullptr},
    {"A step of +1.5 ms",
     "Master and system clock are stepped at once, the slaves follow within 100 ns.",
     {"step", "+1.5ms", "wait", "5s"},
     &checkForwardStep,
     "right after",
     &rightAfterTheStep},
    {"A step of -399 ns",
     "The offset is cut toward zero to -200 ns; the slaves follow within 100 ns.",
     {"step", "-399ns", "wait", "5s"},
     &checkBackwardStep,
     "right after",
     &rightAfterTheStep},
    {"Steering",
     "The crystal runs 12000 ppb fast; steered by -12000 ppb the time no longer drifts. The system clock, which has a\n"
     "crystal of its own, lags until phc2sys has taken the new rate up.",
     {"drift", "5s", "freq", "-12000", "drift", "5s", "wait", "30s"},
     &checkSteering,
     "at its worst",
     &atItsWorst},
    {"Metadata of an IEEE 1588-2008 reference",
     "The FPGA receives reference kind 2, offset -250 and UTC offset 37.",
     {"apply-metadata", "-", kMetadata, "wait", "3s"},
     &checkMetadata,
     "",
     nullptr},
    {"An interface goes down and up",
     "enp2s0 goes down, comes up with its clock 250 us off, and is aligned again.",
     {"wait", "18s"},
     &checkInterface,
     "as it comes up",
     &asItComesUp},
    {"An error of the monitoring thread",
     "The FPGA's driver fails once in the background; the next call reports it, the call after that succeeds.",
     {"wait", "6s", "expect-error", "get", "clear", "get", "wait", "2s"},
     &checkError,
     "",
     nullptr},
    {"Shutdown", "The monitoring thread ends, phc2sys is killed.", {"finalize"}, &checkShutdown, "", nullptr},
}};

}  // namespace

std::span<const Chapter> chapters() { return kChapters; }

std::string markOf(std::size_t number, const Chapter& chapter) {
    return fmt::format("demo {}: {}", number, chapter.title);
}

}  // namespace halvexdemo
