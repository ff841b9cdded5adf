// The chapters of the demo: what the host does, what is expected of it, and how that is checked in the trace.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/demo/evidence.h"
#include "host/demo/findings.h"

namespace halvexdemo {

struct Chapter {
    std::string_view title;
    std::string_view expectation;         ///< Said before the chapter is played.
    std::vector<std::string_view> words;  ///< What halvexctl carries out.
    void (*check)(const Evidence& evidence, Findings& findings);
    /// The instant, if any, that the table shows between before and after.
    std::string_view momentHeading;
    std::optional<Truth> (*moment)(const Evidence& evidence);
};

std::span<const Chapter> chapters();

/// The text by which the log and the trace show where a chapter begins.
std::string markOf(std::size_t number, const Chapter& chapter);

}  // namespace halvexdemo
