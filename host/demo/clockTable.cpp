// Every clock's true difference to the master at several instants, as a table with units.
#include "host/demo/clockTable.h"

#include <fmt/format.h>

#include <algorithm>

namespace halvexdemo {
namespace {

std::uint64_t magnitudeOf(std::int64_t value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

std::string cell(const Truth& truth, const std::string& name) {
    const Truth::Clock* clock = truth.find(name);
    if (clock == nullptr) {
        return "?";
    }
    return (clock->enabled ? "" : "(not enabled) ") + groupedNs(clock->differenceNs);
}

}  // namespace

std::string groupedNs(std::int64_t ns) {
    std::string digits = std::to_string(magnitudeOf(ns));
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, " ");
    }
    return fmt::format("{}{} ns", ns < 0 ? "-" : ns > 0 ? "+" : "", digits);
}

std::string clockTable(const std::vector<TableColumn>& columns) {
    std::size_t nameWidth = std::string_view("clock").size();
    for (const Truth::Clock& clock : columns.front().truth.clocks) {
        nameWidth = std::max(nameWidth, clock.name.size());
    }
    std::vector<std::size_t> widths;
    for (const TableColumn& column : columns) {
        std::size_t width = column.heading.size();
        for (const Truth::Clock& clock : column.truth.clocks) {
            width = std::max(width, cell(column.truth, clock.name).size());
        }
        widths.push_back(width);
    }
    std::string table = fmt::format("  {:<{}}", "clock", nameWidth);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        table += fmt::format("   {:>{}}", columns[i].heading, widths[i]);
    }
    for (const Truth::Clock& clock : columns.front().truth.clocks) {
        table += fmt::format("\n  {:<{}}", clock.name, nameWidth);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            table += fmt::format("   {:>{}}", cell(columns[i].truth, clock.name), widths[i]);
        }
    }
    return table + "\n";
}

std::string clocksAway(const Truth& truth) {
    std::string away;
    for (const Truth::Clock& clock : truth.clocks) {
        if (clock.enabled && magnitudeOf(clock.differenceNs) > static_cast<std::uint64_t>(kAlignedWithinNs)) {
            away += fmt::format("{}{} ({})", away.empty() ? "" : ", ", clock.name, groupedNs(clock.differenceNs));
        }
    }
    return away;
}

}  // namespace halvexdemo
