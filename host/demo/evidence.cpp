// What one chapter of the demo left behind: its stretch of the trace and what the host printed meanwhile.
#include "host/demo/evidence.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace halvexdemo {
namespace {

bool isTruth(const Happening& happening) { return happening.at("kind") == "truth" || happening.at("kind") == "epoch"; }

Truth readTruth(const Happening& happening, std::span<const std::string> order) {
    Truth truth;
    truth.rawNs = happening.at("raw_ns");
    const Happening& clocks = happening.at("clocks");
    for (const std::string& name : order) {
        const Happening& clock = clocks.at(name);
        truth.clocks.push_back({name, clock.at("difference_ns"), clock.at("time_ns"), clock.at("enabled")});
    }
    return truth;
}

/// The order in which the board names its clocks: its first line says it.
std::vector<std::string> clockOrder(std::span<const Happening> all) {
    for (const Happening& happening : all) {
        if (happening.at("kind") == "start") {
            return happening.at("clocks").get<std::vector<std::string>>();
        }
    }
    throw std::runtime_error("the trace does not name its clocks");
}

std::string withoutLeadingBlanks(const std::string& line) {
    const std::size_t start = line.find_first_not_of(' ');
    return start == std::string::npos ? std::string() : line.substr(start);
}

}  // namespace

const Truth::Clock* Truth::find(const std::string& name) const {
    const auto found =
        std::find_if(clocks.begin(), clocks.end(), [&](const Clock& clock) { return clock.name == name; });
    return found == clocks.end() ? nullptr : &*found;
}

Evidence::Evidence(std::span<const Happening> all, std::size_t begin, std::vector<std::string> hostLines)
    : all_(all), begin_(begin), beganRawNs_(all[begin].at("raw_ns")), hostLines_(std::move(hostLines)) {}

std::vector<Happening> Evidence::happenings(const std::string& kind) const {
    std::vector<Happening> found;
    for (const Happening& happening : all_.subspan(begin_)) {
        if (happening.at("kind") == kind) {
            found.push_back(happening);
        }
    }
    return found;
}

std::vector<Happening> Evidence::stepsByProgram(const std::string& clock) const {
    std::vector<Happening> steps = happenings("step");
    std::erase_if(steps,
                  [&](const Happening& step) { return step.at("clock") != clock || step.at("by") != "program"; });
    return steps;
}

std::vector<std::string> Evidence::logLines() const {
    std::vector<std::string> lines;
    for (const Happening& happening : happenings("syslog")) {
        lines.push_back(happening.at("text"));
    }
    return lines;
}

bool Evidence::logged(const std::string& text) const {
    const std::vector<std::string> lines = logLines();
    return std::find(lines.begin(), lines.end(), text) != lines.end();
}

std::vector<std::string> Evidence::logLinesStarting(const std::string& beginning) const {
    std::vector<std::string> lines = logLines();
    std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(beginning); });
    return lines;
}

Truth Evidence::truthBefore() const {
    const std::vector<std::string> order = clockOrder(all_);
    for (std::size_t i = begin_; i-- > 0;) {
        if (isTruth(all_[i])) {
            return readTruth(all_[i], order);
        }
    }
    const std::vector<Truth> own = truths();
    if (own.empty()) {
        throw std::runtime_error("the trace shows no clock before this chapter");
    }
    return own.front();
}

std::vector<Truth> Evidence::truths() const {
    const std::vector<std::string> order = clockOrder(all_);
    std::vector<Truth> found;
    for (const Happening& happening : all_.subspan(begin_)) {
        if (isTruth(happening)) {
            found.push_back(readTruth(happening, order));
        }
    }
    return found;
}

Truth Evidence::truthAtEnd() const {
    std::vector<Truth> own = truths();
    return own.empty() ? truthBefore() : own.back();
}

std::optional<Truth> Evidence::firstTruthAfter(std::uint64_t rawNs) const {
    for (Truth& truth : truths()) {
        if (truth.rawNs > rawNs) {
            return std::move(truth);
        }
    }
    return std::nullopt;
}

std::vector<std::string> Evidence::hostValues(const std::string& label) const {
    std::vector<std::string> values;
    const std::string beginning = "  " + label + "  ";
    for (const std::string& line : hostLines_) {
        if (line.starts_with(beginning)) {
            values.push_back(withoutLeadingBlanks(line.substr(beginning.size())));
        }
    }
    return values;
}

std::size_t Evidence::hostLinesStarting(const std::string& beginning) const {
    return static_cast<std::size_t>(std::count_if(hostLines_.begin(), hostLines_.end(), [&](const std::string& line) {
        return withoutLeadingBlanks(line).starts_with(beginning);
    }));
}

}  // namespace halvexdemo
